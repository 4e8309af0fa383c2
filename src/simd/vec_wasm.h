// 16-byte vectors, WebAssembly's SIMD of 128 bits.
//
// Its instructions are those that all processors have. What only some have, like products' high
// halves, is made of several here, in ways that the kernels' values allow.
#pragma once

#include <wasm_simd128.h>

#include "simd/vec_common.h"

namespace imgcnv {

template <class Level>
struct Vec16Wasm : LaneVec<Vec16Wasm<Level>, 16> {
    using Common = LaneVec<Vec16Wasm<Level>, 16>;
    using Reg = typename Common::Reg;
    using Mask = Reg;
    using Common::add16;
    using Common::and_;
    using Common::kBytes;
    using Common::load;
    using Common::shuffle;
    using Common::store;
    using Common::table;
    using Common::zero;
    static constexpr bool kNarrowest = true;

    // Clang makes constants where they are used, and browsers do so of two 64-bit numbers in every
    // turn of a loop. What Clang does not see to be a constant is made before the loop.
    static Reg kept(Reg constant) {
        asm("" : "+r"(constant));
        return constant;
    }
    static Reg set8(int x) { return kept(Common::set8(x)); }
    static Reg set16(int x) { return kept(Common::set16(x)); }
    static Reg table(const ByteTable<16>& t) { return kept(load(t.at)); }
    // Indices are below 16 or kZeroByte.
    static Reg shuffle(Reg a, Reg indices) { return wasm_i8x16_swizzle(a, indices); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }

    static bool is_zero(Reg a) { return !wasm_v128_any_true(a); }
    // a where the bits of mask are 1, else b
    static Reg bit_select(Reg mask, Reg a, Reg b) { return wasm_v128_bitselect(a, b, mask); }
    // Of a, signed bytes in the high halves of lanes, by k below 512: the product with the low byte
    // of k has 16 bits, for which there is an instruction. (Of 32 bits, two, and one that puts them
    // together.)
    template <int k>
    static Reg mulhi16_by(Reg a) {
        static_assert(0 <= k && k < 512);
        const Reg bytes = Common::template sar16<8>(a);
        const Reg low = Common::template sar16<8>(wasm_i16x8_mul(bytes, set16(k % 256)));
        return k < 256 ? low : add16(low, bytes);
    }
    static Reg mulhi16u(Reg a, Reg b) {
        return wasm_i16x8_shuffle(wasm_u32x4_extmul_low_u16x8(a, b),
                                  wasm_u32x4_extmul_high_u16x8(a, b), 1, 3, 5, 7, 9, 11, 13, 15);
    }
    static Reg abs16(Reg a) { return wasm_i16x8_abs(a); }
    static Reg max16(Reg a, Reg b) { return wasm_i16x8_max(a, b); }
    static Reg min16(Reg a, Reg b) { return wasm_i16x8_min(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) {
        const Reg even = Common::template sar16<8>(Common::template shl16<8>(b));
        return add16(wasm_i16x8_mul(and_(a, set16(0xFF)), even),
                     wasm_i16x8_mul(Common::template shr16<8>(a), Common::template sar16<8>(b)));
    }
    static Mask greater16(Reg a, Reg b) { return wasm_i16x8_gt(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return bit_select(m, a, b); }
    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) { return !wasm_i16x8_all_true(a); }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(wasm_i8x16_bitmask(a)); }

    // 16-bit lanes: inverse of one another
    static Reg pack16(Reg lo, Reg hi) { return wasm_u8x16_narrow_i16x8(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) {
        return wasm_i8x16_shuffle(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    }
    static Reg unpack_hi8(Reg a, Reg b) {
        return wasm_i8x16_shuffle(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                  31);
    }
    // Words below 256 as bytes, in order.
    static Reg narrow(Reg lo, Reg hi) { return pack16(lo, hi); }
    static Reg reverse(Reg a) {
        return shuffle(a, [](size_t i) { return 15 - i; });
    }

    // 8 bytes as 16-bit lanes.
    static Reg load_widened(const uint8_t* p) { return wasm_u16x8_load8x8(p); }
    static Reg load_bits(const uint8_t* p) {
        uint16_t bits;
        memcpy(&bits, p, sizeof bits);
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        const Reg spread =
            shuffle(wasm_i16x8_splat(static_cast<int16_t>(bits)), [](size_t i) { return i / 8; });
        return Common::equal8(and_(spread, bit), bit);
    }

    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        const Reg v0 = load(p), v1 = load(p + 16), v2 = load(p + 32);
        a = shuffle(mix3(v0, v2, v1), [](size_t i) { return 3 * i % 16; });
        b = shuffle(mix3(v1, v0, v2), [](size_t i) { return (3 * i + 1) % 16; });
        c = shuffle(mix3(v2, v1, v0), [](size_t i) { return (3 * i + 2) % 16; });
    }
    static void store3(uint8_t* p, Reg a, Reg b, Reg c) {
        a = shuffle(a, [](size_t i) { return (Interleave3<16>::output_of(0, i) * 16 + i) / 3; });
        b = shuffle(b, [](size_t i) { return (Interleave3<16>::output_of(1, i) * 16 + i) / 3; });
        c = shuffle(c, [](size_t i) { return (Interleave3<16>::output_of(2, i) * 16 + i) / 3; });
        store(p, mix3(a, b, c));
        store(p + 16, mix3(b, c, a));
        store(p + 32, mix3(c, a, b));
    }
    static void store3_grey(uint8_t* p, Reg g) {
        store(p, shuffle(g, [](size_t i) { return i / 3; }));
        store(p + 16, shuffle(g, [](size_t i) { return (16 + i) / 3; }));
        store(p + 32, shuffle(g, [](size_t i) { return (32 + i) / 3; }));
    }
    // a b c 0
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        const Reg ab_lo = unpack_lo8(a, b), ab_hi = unpack_hi8(a, b);
        const Reg c_lo = unpack_lo8(c, zero()), c_hi = unpack_hi8(c, zero());
        store(p, wasm_i16x8_shuffle(ab_lo, c_lo, 0, 8, 1, 9, 2, 10, 3, 11));
        store(p + 16, wasm_i16x8_shuffle(ab_lo, c_lo, 4, 12, 5, 13, 6, 14, 7, 15));
        store(p + 32, wasm_i16x8_shuffle(ab_hi, c_hi, 0, 8, 1, 9, 2, 10, 3, 11));
        store(p + 48, wasm_i16x8_shuffle(ab_hi, c_hi, 4, 12, 5, 13, 6, 14, 7, 15));
    }

    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg bitmap_contains(const ByteTable<32>& bitmap, Reg x) {
        // Indices beyond a half give 0.
        const Reg index = wasm_u8x16_shr(x, 3);
        const Reg row = shuffle(load(bitmap.at), index) |
                        shuffle(load(bitmap.at + 16), Common::sub8(index, set8(16)));
        const Reg bit = Common::bit_in_byte(x);
        return Common::equal8(and_(row, bit), bit);
    }

    // 16 three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, reverse(a), reverse(b), reverse(c));
    }
    // 16 three-byte pixels with their first and last bytes exchanged.
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, c, b, a);
    }
    // 4x4 three-byte pixels, transposed as dwords.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        for (ptrdiff_t i = 0; i < 4; ++i)
            for (ptrdiff_t k = 0; k < 4; ++k)
                memcpy(dst + k * dst_step + 3 * i, src + i * src_step + 3 * k, 3);
    }

  private:
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        const Reg second = table([](size_t i) { return i % 3 == 1 ? 0xFF : 0; });
        const Reg third = table([](size_t i) { return i % 3 == 2 ? 0xFF : 0; });
        return bit_select(third, r2, bit_select(second, r1, r0));
    }
};

}  // namespace imgcnv
