// 16-byte vectors, NEON of 64-bit ARM. See vec_common.h for what the functions do.
#pragma once

#include <arm_neon.h>

#include "simd/vec_common.h"

namespace imgcnv {

namespace {

struct Vec16Neon : VecCommon<Vec16Neon, 16> {
    using Narrowest = Vec16Neon;

    // Indices are below 16 or kZeroByte.
    static Reg lookup(Reg table, Reg indices) { return (Reg)vqtbl1q_u8(u8(table), u8(indices)); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }

    static Reg bit_select(Reg mask, Reg a, Reg b) { return (Reg)vbslq_u8(u8(mask), u8(a), u8(b)); }
    static Reg mulhi16(Reg a, Reg b) {
        return (Reg)vuzp2q_s16(
            vreinterpretq_s16_s32(vmull_s16(vget_low_s16(s16(a)), vget_low_s16(s16(b)))),
            vreinterpretq_s16_s32(vmull_high_s16(s16(a), s16(b))));
    }
    static Reg mulhi16u(Reg a, Reg b) {
        return (Reg)vuzp2q_u16(
            vreinterpretq_u16_u32(vmull_u16(vget_low_u16(u16(a)), vget_low_u16(u16(b)))),
            vreinterpretq_u16_u32(vmull_high_u16(u16(a), u16(b))));
    }
    static Reg abs16(Reg a) { return (Reg)vabsq_s16(s16(a)); }
    static Reg max16(Reg a, Reg b) { return (Reg)vmaxq_s16(s16(a), s16(b)); }
    static Reg min16(Reg a, Reg b) { return (Reg)vminq_s16(s16(a), s16(b)); }
    static Reg maddubs(Reg a, Reg b) {
        const int16x8_t even =
            vmulq_s16(s16(and_(a, set16(0xFF))), vshrq_n_s16(vshlq_n_s16(s16(b), 8), 8));
        return (Reg)vmlaq_s16(even, s16(shr16<8>(a)), vshrq_n_s16(s16(b), 8));
    }
    static bool has_zero16(Reg a) { return vminvq_u16(u16(a)) == 0; }
    static uint64_t top_bits(Reg a) {
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        const uint8x16_t bits = vandq_u8((uint8x16_t)vshrq_n_s8((int8x16_t)a, 7), u8(bit));
        return vaddv_u8(vget_low_u8(bits)) | static_cast<uint64_t>(vaddv_u8(vget_high_u8(bits)))
                                                 << 8;
    }

    static Reg pack16(Reg lo, Reg hi) {
        return (Reg)vqmovun_high_s16(vqmovun_s16(s16(lo)), s16(hi));
    }
    static Reg narrow(Reg lo, Reg hi) { return (Reg)vuzp1q_u8(u8(lo), u8(hi)); }

    static Reg load_widened(const uint8_t* p) { return (Reg)vmovl_u8(vld1_u8(p)); }
    static Reg load_bits(const uint8_t* p) {
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        return (Reg)vtstq_u8(vcombine_u8(vdup_n_u8(p[0]), vdup_n_u8(p[1])), u8(bit));
    }
    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        const uint8x16x3_t channels = vld3q_u8(p);
        a = (Reg)channels.val[0];
        b = (Reg)channels.val[1];
        c = (Reg)channels.val[2];
    }

    static void store3(uint8_t* p, Reg a, Reg b, Reg c) {
        vst3q_u8(p, uint8x16x3_t{{u8(a), u8(b), u8(c)}});
    }
    static void store3_grey(uint8_t* p, Reg g) { store3(p, g, g, g); }
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        vst4q_u8(p, uint8x16x4_t{{u8(a), u8(b), u8(c), vdupq_n_u8(0)}});
    }

    static Reg bitmap_contains(const ByteTable<32>& bitmap, Reg x) {
        const uint8x16x2_t bytes = vld1q_u8_x2(bitmap.at);
        const uint8x16_t row = vqtbl2q_u8(bytes, vshrq_n_u8(u8(x), 3));
        return (Reg)vtstq_u8(row, u8(bit_in_byte(x)));
    }

    static void reverse3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, reverse(a), reverse(b), reverse(c));
    }
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, c, b, a);
    }

  private:
    static uint8x16_t u8(Reg a) { return (uint8x16_t)a; }
    static uint16x8_t u16(Reg a) { return (uint16x8_t)a; }
    static int16x8_t s16(Reg a) { return (int16x8_t)a; }
};

}  // namespace
}  // namespace imgcnv
