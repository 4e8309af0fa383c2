// 64-byte vectors, AVX-512 with F, BW, VL, DQ and VBMI. See vec_common.h for what the functions do.
#pragma once

#include <immintrin.h>

#include "simd/vec_avx2.h"

namespace imgcnv {
namespace {

struct Vec64 : VecCommon<Vec64, 64, 64> {
    using Narrowest = Vec16;
    using Mask = __mmask32;

    static void stream(uint8_t* p, Reg x) { _mm512_stream_si512((__m512i*)p, x); }
    static Reg lookup(Reg table, Reg indices) { return _mm512_shuffle_epi8(table, indices); }
    static Reg permute(Reg a, Reg indices) { return _mm512_permutexvar_epi8(indices, a); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t step) {
        return _mm512_inserti64x4(_mm512_castsi256_si512(Vec32::load_lanes(p, step)),
                                  Vec32::load_lanes(p + 2 * step, step), 1);
    }

    static constexpr bool kMasks = true;
    template <size_t kBuffer>
    static void copy_in(uint8_t* buffer, const uint8_t* src, size_t bytes) {
#pragma GCC unroll 8
        for (size_t i = 0; i < kBuffer; i += 64) {
            store(buffer + i, _mm512_maskz_loadu_epi8(first_of(bytes, i), src + i));
        }
    }
    template <size_t kBuffer>
    static void copy_out(uint8_t* dst, const uint8_t* buffer, size_t bytes) {
#pragma GCC unroll 8
        for (size_t i = 0; i < kBuffer; i += 64) {
            _mm512_mask_storeu_epi8(dst + i, first_of(bytes, i), load(buffer + i));
        }
    }

    static Reg bit_select(Reg mask, Reg a, Reg b) {
        return _mm512_ternarylogic_epi64(mask, a, b, 0xCA);
    }
    static Reg mulhi16(Reg a, Reg b) { return _mm512_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm512_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm512_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm512_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm512_min_epi16(a, b); }
    static Reg maddubs(Reg a, Reg b) { return _mm512_maddubs_epi16(a, b); }
    static Mask greater16(Reg a, Reg b) { return _mm512_cmpgt_epi16_mask(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm512_mask_blend_epi16(m, b, a); }
    static bool has_zero16(Reg a) { return _mm512_testn_epi16_mask(a, a) != 0; }
    static uint64_t top_bits(Reg a) { return _mm512_movepi8_mask(a); }
    static Reg equal8(Reg a, Reg b) { return _mm512_movm_epi8(_mm512_cmpeq_epi8_mask(a, b)); }

    static Reg pack16(Reg lo, Reg hi) { return _mm512_packus_epi16(lo, hi); }
    static Reg deal_dwords(Reg a) {
        return _mm512_permutexvar_epi32(
            _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), a);
    }

    static Reg load_widened(const uint8_t* p) { return _mm512_cvtepu8_epi16(load32(p)); }
    static Reg load_bits(const uint8_t* p) {
        __mmask64 bits;
        memcpy(&bits, p, sizeof bits);
        return _mm512_movm_epi8(bits);
    }
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        constexpr int kByte = kShift == 8 ? 1 : 0;
        return _mm512_permutex2var_epi8(shr16<kShift % 8>(load(p)),
                                        table<64>([](size_t i) { return 2 * i + kByte; }),
                                        shr16<kShift % 8>(load(p + 64)));
    }
    static Reg load_packed(const uint8_t* p) {
        return _mm512_permutex2var_epi8(
            load(p), table<64>([](size_t i) { return i / 2 * 3 + i % 2 * 2; }), load_tail(p + 64));
    }
    static void load_yuv422(const uint8_t* p, Reg& lo, Reg& hi) {
        const Reg a = load(p), b = load(p + 64);
        lo = _mm512_shuffle_i32x4(a, b, 0x88);
        hi = _mm512_shuffle_i32x4(a, b, 0xDD);
    }
    static void load_yuv411(const uint8_t* p, Reg& lo, Reg& hi) {
        const Reg head = load(p), tail = load_tail(p + 64);
        lo = _mm512_permutex2var_epi64(head, _mm512_setr_epi64(0, 1, 3, 4, 6, 7, 9, 10), tail);
        hi = _mm512_permutex2var_epi64(head, _mm512_setr_epi64(1, 2, 4, 5, 7, 8, 10, 11), tail);
    }
    // Clang must not see the masks: it would merge these blends into permutations of two
    // registers, twice as many of the slowest instructions.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        __mmask64 second = 0x2492492492492492, third = 0x4924924924924924;
#if defined(__clang__) && defined(__AVX512F__)
        __asm__("" : "+k"(second), "+k"(third));
#endif
        return _mm512_mask_blend_epi8(third, _mm512_mask_blend_epi8(second, r0, r1), r2);
    }

    static void store_dense3(uint8_t* p, Reg pixels) {
        const Reg dense =
            permute_by(pixels, [](size_t i) { return i < 48 ? i / 3 * 4 + i % 3 : size_t{0}; });
        // Two plain stores: a masked byte store is slow on some CPUs.
        _mm256_storeu_si256((__m256i*)p, _mm512_castsi512_si256(dense));
        _mm_storeu_si128((__m128i*)(p + 32), _mm512_extracti32x4_epi32(dense, 2));
    }

  private:
    // Those of the first `bytes` that lie in the vector at `from`.
    static __mmask64 first_of(size_t bytes, size_t from) {
        if (bytes <= from) return 0;
        return bytes - from >= 64 ? ~__mmask64{0} : (__mmask64{1} << (bytes - from)) - 1;
    }
    static __m256i load32(const uint8_t* p) { return _mm256_loadu_si256((const __m256i*)p); }
    static Reg load_tail(const uint8_t* p) { return _mm512_castsi256_si512(load32(p)); }
};

}  // namespace
}  // namespace imgcnv
