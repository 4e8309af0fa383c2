// The level of WebAssembly's vectors.

#if defined(__wasm_simd128__)

#include "layouts/vector_kernels.h"

#include <wasm_simd128.h>

namespace frames {

struct Simd128 {
    static constexpr size_t kLanes = 1;
    using Bytes = frames::Bytes<Simd128>;
    using Words = frames::Words<Simd128>;

    static Bytes shuffle(Bytes a, Bytes indices) {
        return (Bytes)wasm_i8x16_swizzle((v128_t)a, (v128_t)indices);
    }
    static Bytes load_lanes(const uint8_t* p, size_t) { return (Bytes)wasm_v128_load(p); }
    static void store_lanes(uint8_t* p, size_t, Bytes a) { wasm_v128_store(p, (v128_t)a); }
    static void store_lanes3(uint8_t* p, Bytes a, Bytes b, Bytes c) {
        store_lanes(p, 0, a);
        store_lanes(p + 16, 0, b);
        store_lanes(p + 32, 0, c);
    }
    // Where Clang saw a constant it would make it anew in every turn of a loop.
    static Bytes broadcast(const void* p) {
        Bytes piece = load_lanes(static_cast<const uint8_t*>(p), 0);
        asm("" : "+r"(piece));
        return piece;
    }
    static Bytes pack_words(Words a, Words b) {
        return (Bytes)wasm_u8x16_narrow_i16x8((v128_t)a, (v128_t)b);
    }
    static Words pack_dwords(Dwords<Simd128> a, Dwords<Simd128> b) {
        return (Words)wasm_u16x8_narrow_i32x4((v128_t)a, (v128_t)b);
    }
    static Words multiply_high(Words a, Words b) {
        const v128_t low = wasm_u32x4_extmul_low_u16x8((v128_t)a, (v128_t)b);
        const v128_t high = wasm_u32x4_extmul_high_u16x8((v128_t)a, (v128_t)b);
        return (Words)wasm_i16x8_shuffle(low, high, 1, 3, 5, 7, 9, 11, 13, 15);
    }
    static Words average(Words a, Words b) { return (Words)wasm_u16x8_avgr((v128_t)a, (v128_t)b); }
    static Floats<Simd128> smaller(Floats<Simd128> a, Floats<Simd128> b) {
        return (Floats<Simd128>)wasm_f32x4_pmin((v128_t)b, (v128_t)a);
    }
    static Words smaller(Words a, Words b) { return (Words)wasm_u16x8_min((v128_t)a, (v128_t)b); }
    static Words subtract(Words a, Words b) {
        return (Words)wasm_u16x8_sub_sat((v128_t)a, (v128_t)b);
    }
};

extern const KernelTable kSimd128Kernels;
constinit const KernelTable kSimd128Kernels = vector_kernels<Simd128>();

}  // namespace frames

#endif
