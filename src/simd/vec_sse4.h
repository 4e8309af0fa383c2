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
    static Reg unpack_lo8(Reg a, Reg b) { return _mm_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm_unpackhi_epi8(a, b); }
    static Reg unpack_lo16(Reg a, Reg b) { return _mm_unpacklo_epi16(a, b); }
    static Reg unpack_hi16(Reg a, Reg b) { return _mm_unpackhi_epi16(a, b); }
    static Reg unpack_lo64(Reg a, Reg b) { return _mm_unpacklo_epi64(a, b); }
    static Reg unpack_hi64(Reg a, Reg b) { return _mm_unpackhi_epi64(a, b); }
    static Reg load_widened(const uint8_t* p) {
        return _mm_cvtepu8_epi16(_mm_loadl_epi64((const __m128i*)p));
    }

    // 4x4 three-byte pixels, transposed as dwords.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        Reg r[4];
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const uint8_t* p = src + i * src_step;
            int last;
            memcpy(&last, p + 8, sizeof last);
            r[i] = shuffle(_mm_insert_epi32(_mm_loadl_epi64((const __m128i*)p), last, 2),
                           [](size_t k) { return k / 4 * 3 + k % 4 % 3; });
        }
        const Reg t0 = _mm_unpacklo_epi32(r[0], r[1]), t1 = _mm_unpacklo_epi32(r[2], r[3]);
        const Reg t2 = _mm_unpackhi_epi32(r[0], r[1]), t3 = _mm_unpackhi_epi32(r[2], r[3]);
        const Reg columns[4] = {_mm_unpacklo_epi64(t0, t1), _mm_unpackhi_epi64(t0, t1),
                                _mm_unpacklo_epi64(t2, t3), _mm_unpackhi_epi64(t2, t3)};
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const Reg packed = shuffle(columns[i], [](size_t k) {
                return k < 12 ? k / 3 * 4 + k % 3 : size_t{kZeroByte};
            });
            uint8_t* p = dst + i * dst_step;
            const int last = _mm_extract_epi32(packed, 2);
            _mm_storel_epi64((__m128i*)p, packed);
            memcpy(p + 8, &last, sizeof last);
        }
    }
};

}  // namespace
}  // namespace imgcnv
