// 16-byte vectors, WebAssembly's SIMD of 128 bits.
//
// Its instructions are those that all processors have. What only some have, like products' high
// halves, is made of several here, in ways that the kernels' values allow.
#pragma once

#include <wasm_simd128.h>

#include "simd/vec_common.h"

namespace imgcnv {

namespace {

struct Vec16Wasm : VecCommon<Vec16Wasm, 16> {
    using Narrowest = Vec16Wasm;

    // Clang makes constants where they are used, and browsers do so of two 64-bit numbers in every
    // turn of a loop. What Clang does not see to be a constant is made before the loop.
    static Reg kept(Reg constant) {
        asm("" : "+r"(constant));
        return constant;
    }
    // Indices are below 16 or kZeroByte.
    static Reg lookup(Reg table, Reg indices) { return wasm_i8x16_swizzle(table, indices); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }

    static Reg bit_select(Reg mask, Reg a, Reg b) { return wasm_v128_bitselect(a, b, mask); }
    // Of a, signed bytes in the high halves of lanes, by k below 512: the product with the low byte
    // of k has 16 bits, for which there is an instruction. (Of 32 bits, two, and one that puts them
    // together.)
    template <int k>
    static Reg mulhi16_by(Reg a) {
        static_assert(0 <= k && k < 512);
        const Reg bytes = sar16<8>(a);
        const Reg low = sar16<8>(wasm_i16x8_mul(bytes, set16(k % 256)));
        return k < 256 ? low : add16(low, bytes);
    }
    static Reg mulhi16u(Reg a, Reg b) {
        return wasm_i16x8_shuffle(wasm_u32x4_extmul_low_u16x8(a, b),
                                  wasm_u32x4_extmul_high_u16x8(a, b), 1, 3, 5, 7, 9, 11, 13, 15);
    }
    static Reg abs16(Reg a) { return wasm_i16x8_abs(a); }
    static Reg max16(Reg a, Reg b) { return wasm_i16x8_max(a, b); }
    static Reg min16(Reg a, Reg b) { return wasm_i16x8_min(a, b); }
    static Reg maddubs(Reg a, Reg b) {
        const Reg even = sar16<8>(shl16<8>(b));
        return add16(wasm_i16x8_mul(and_(a, set16(0xFF)), even),
                     wasm_i16x8_mul(shr16<8>(a), sar16<8>(b)));
    }
    static bool has_zero16(Reg a) { return !wasm_i16x8_all_true(a); }
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(wasm_i8x16_bitmask(a)); }

    static Reg pack16(Reg lo, Reg hi) { return wasm_u8x16_narrow_i16x8(lo, hi); }
    static Reg load_widened(const uint8_t* p) { return wasm_u16x8_load8x8(p); }
};

}  // namespace
}  // namespace imgcnv
