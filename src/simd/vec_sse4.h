// 16-byte vectors, SSE4.1. See vec_common.h for what the functions do.
#pragma once

#include <smmintrin.h>

#include "simd/vec_common.h"

namespace imgcnv {
namespace {

struct Vec16 : VecCommon<Vec16, 16> {
    using Narrowest = Vec16;

    static void stream(uint8_t* p, Reg x) { _mm_stream_si128((__m128i*)p, x); }
    static Reg lookup(Reg table, Reg indices) { return _mm_shuffle_epi8(table, indices); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }

    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm_blendv_epi8(b, a, mask); }
    static Reg mulhi16(Reg a, Reg b) { return _mm_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm_min_epi16(a, b); }
    static Reg maddubs(Reg a, Reg b) { return _mm_maddubs_epi16(a, b); }
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm_movemask_epi8(a)); }

    static Reg pack16(Reg lo, Reg hi) { return _mm_packus_epi16(lo, hi); }
    static Reg load_widened(const uint8_t* p) {
        return _mm_cvtepu8_epi16(_mm_loadl_epi64((const __m128i*)p));
    }
};

}  // namespace
}  // namespace imgcnv
