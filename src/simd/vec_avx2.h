// 32-byte vectors of two 16-byte lanes, AVX2. See vec_common.h for what the functions do.
#pragma once

#include <immintrin.h>

#include "simd/vec_sse4.h"

namespace imgcnv {
namespace {

struct Vec32 : VecCommon<Vec32, 32> {
    using Narrowest = Vec16;

    static void stream(uint8_t* p, Reg x) { _mm256_stream_si256((__m256i*)p, x); }
    static Reg lookup(Reg table, Reg indices) { return _mm256_shuffle_epi8(table, indices); }
    static __m128i load16(const uint8_t* p) { return _mm_loadu_si128((const __m128i*)p); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t step) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(p + step), 1);
    }

    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm256_blendv_epi8(b, a, mask); }
    static Reg mulhi16(Reg a, Reg b) { return _mm256_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm256_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm256_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm256_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm256_min_epi16(a, b); }
    static Reg maddubs(Reg a, Reg b) { return _mm256_maddubs_epi16(a, b); }
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm256_movemask_epi8(a)); }

    static Reg pack16(Reg lo, Reg hi) { return _mm256_packus_epi16(lo, hi); }
    static Reg load_widened(const uint8_t* p) { return _mm256_cvtepu8_epi16(load16(p)); }
    // Packing interleaves the lanes of its inputs.
    static Reg narrow(Reg lo, Reg hi) { return _mm256_permute4x64_epi64(pack16(lo, hi), 0xD8); }
    static Reg reverse(Reg a) {
        const Reg lanes = VecCommon::reverse(a);
        return _mm256_permute2x128_si256(lanes, lanes, 0x01);
    }
    static Reg deal_dwords(Reg a) {
        return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
    }

    template <size_t kFirst>
    static Reg load_dozens(const uint8_t* p) {
        constexpr int k = kFirst / 4;
        return _mm256_permutevar8x32_epi32(
            load(p - kFirst),
            _mm256_setr_epi32(k, k + 1, k + 2, k + 3, k + 3, k + 4, k + 5, k + 6));
    }
    static void store_spans3(uint8_t* p, Reg v0, Reg v1, Reg v2) {
        store(p, _mm256_permute2x128_si256(v0, v1, 0x20));
        store(p + 32, _mm256_blend_epi32(v2, v0, 0xF0));
        store(p + 64, _mm256_permute2x128_si256(v1, v2, 0x31));
    }

    static void store_dense3(uint8_t* p, Reg pixels) {
        const Reg lanes = shuffle(
            pixels, [](size_t k) { return k < 12 ? k / 3 * 4 + k % 3 : size_t{kZeroByte}; });
        const Reg dense =
            _mm256_permutevar8x32_epi32(lanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
        _mm_storeu_si128((__m128i*)p, _mm256_castsi256_si128(dense));
        _mm_storel_epi64((__m128i*)(p + 16), _mm256_extracti128_si256(dense, 1));
    }
};

}  // namespace
}  // namespace imgcnv
