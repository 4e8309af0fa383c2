// The NEON level, which every aarch64 has.

#if defined(__aarch64__)

#include "layouts/vector_kernels.h"

#include <arm_neon.h>

namespace frames {

struct Neon {
    static constexpr size_t kLanes = 1;
    using Bytes = frames::Bytes<Neon>;
    using Words = frames::Words<Neon>;

    static Bytes shuffle(Bytes a, Bytes indices) {
        return (Bytes)vqtbl1q_u8((uint8x16_t)a, (uint8x16_t)indices);
    }
    static Bytes load_lanes(const uint8_t* p, size_t) { return (Bytes)vld1q_u8(p); }
    static void store_lanes(uint8_t* p, size_t, Bytes a) { vst1q_u8(p, (uint8x16_t)a); }
    static void store_lanes3(uint8_t* p, Bytes a, Bytes b, Bytes c) {
        store_lanes(p, 0, a);
        store_lanes(p + 16, 0, b);
        store_lanes(p + 32, 0, c);
    }
    static Bytes broadcast(const void* p) { return load_lanes(static_cast<const uint8_t*>(p), 0); }
    static Bytes pack_words(Words a, Words b) {
        return (Bytes)vqmovn_high_u16(vqmovn_u16((uint16x8_t)a), (uint16x8_t)b);
    }
    static Words pack_dwords(Dwords<Neon> a, Dwords<Neon> b) {
        return (Words)vqmovun_high_s32(vqmovun_s32((int32x4_t)a), (int32x4_t)b);
    }
    static Words multiply_high(Words a, Words b) {
        const uint32x4_t low = vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b));
        const uint32x4_t high = vmull_high_u16((uint16x8_t)a, (uint16x8_t)b);
        return (Words)vuzp2q_u16((uint16x8_t)low, (uint16x8_t)high);
    }
    static Words average(Words a, Words b) {
        return (Words)vrhaddq_u16((uint16x8_t)a, (uint16x8_t)b);
    }
    static Floats<Neon> smaller(Floats<Neon> a, Floats<Neon> b) {
        return (Floats<Neon>)vminq_f32((float32x4_t)a, (float32x4_t)b);
    }
    static Words smaller(Words a, Words b) {
        return (Words)vminq_u16((uint16x8_t)a, (uint16x8_t)b);
    }
    static Words subtract(Words a, Words b) {
        return (Words)vqsubq_u16((uint16x8_t)a, (uint16x8_t)b);
    }
};

extern const KernelTable kNeonKernels;
constinit const KernelTable kNeonKernels = vector_kernels<Neon>();

}  // namespace frames

#endif
