// The AVX-512 level: F, BW and VBMI.

#if defined(__x86_64__)

#include "layouts/vector_kernels.h"

#include <immintrin.h>

namespace frames {

struct Avx512 {
    static constexpr size_t kLanes = 4;
    using Bytes = frames::Bytes<Avx512>;
    using Words = frames::Words<Avx512>;

    static Bytes shuffle(Bytes a, Bytes indices) {
        return (Bytes)_mm512_shuffle_epi8((__m512i)a, (__m512i)indices);
    }
    static Bytes permute(Bytes a, Bytes indices) {
        return (Bytes)_mm512_permutexvar_epi8((__m512i)indices, (__m512i)a);
    }
    static Bytes permute2(Bytes a, Bytes b, Bytes indices) {
        return (Bytes)_mm512_permutex2var_epi8((__m512i)a, (__m512i)indices, (__m512i)b);
    }
    static Bytes bits_from(Bytes a, Bytes first) {
        return (Bytes)_mm512_multishift_epi64_epi8((__m512i)first, (__m512i)a);
    }
    static Bytes load_bits(const uint8_t* p) {
        __mmask64 bits;
        memcpy(&bits, p, sizeof bits);
        return (Bytes)_mm512_movm_epi8(bits);
    }
    static Words load_bit_words(const uint8_t* p) {
        __mmask32 bits;
        memcpy(&bits, p, sizeof bits);
        return (Words)_mm512_maskz_mov_epi16(bits, _mm512_set1_epi16(1));
    }
    template <size_t kPiece>
    static Bytes load_pieces(const uint8_t* p) {
        if constexpr (kPiece == 1)
            return (Bytes)_mm512_cvtepu8_epi64(_mm_loadl_epi64((const __m128i*)p));
        if constexpr (kPiece == 2) return (Bytes)_mm512_cvtepu16_epi64(piece(p));
        if constexpr (kPiece == 4)
            return (Bytes)_mm512_cvtepu32_epi64(_mm256_loadu_si256((const __m256i*)p));
    }
    static Words permute_words(Words a, Words indices) {
        return (Words)_mm512_permutexvar_epi16((__m512i)indices, (__m512i)a);
    }
    static __m128i piece(const void* p) { return _mm_loadu_si128((const __m128i*)p); }
    static Bytes load_lanes(const uint8_t* p, size_t step) {
        if (step == 16) return (Bytes)_mm512_loadu_si512(p);
        __m512i a = _mm512_castsi128_si512(piece(p));
        a = _mm512_inserti32x4(a, piece(p + step), 1);
        a = _mm512_inserti32x4(a, piece(p + 2 * step), 2);
        return (Bytes)_mm512_inserti32x4(a, piece(p + 3 * step), 3);
    }
    static void store_lanes(uint8_t* p, size_t step, Bytes a) {
        _mm_storeu_si128((__m128i*)p, _mm512_castsi512_si128((__m512i)a));
        _mm_storeu_si128((__m128i*)(p + step), _mm512_extracti32x4_epi32((__m512i)a, 1));
        _mm_storeu_si128((__m128i*)(p + 2 * step), _mm512_extracti32x4_epi32((__m512i)a, 2));
        _mm_storeu_si128((__m128i*)(p + 3 * step), _mm512_extracti32x4_epi32((__m512i)a, 3));
    }
    static void stream(uint8_t* p, Bytes a) { _mm512_stream_si512((__m512i*)p, (__m512i)a); }
    static void end_stream() { _mm_sfence(); }
    static Bytes broadcast(const void* p) { return (Bytes)_mm512_broadcast_i32x4(piece(p)); }
    static Bytes pack_words(Words a, Words b) {
        return (Bytes)_mm512_packus_epi16((__m512i)a, (__m512i)b);
    }
    static Words pack_dwords(Dwords<Avx512> a, Dwords<Avx512> b) {
        return (Words)_mm512_packus_epi32((__m512i)a, (__m512i)b);
    }
    static Words multiply_high(Words a, Words b) {
        return (Words)_mm512_mulhi_epu16((__m512i)a, (__m512i)b);
    }
    static Words average(Words a, Words b) {
        return (Words)_mm512_avg_epu16((__m512i)a, (__m512i)b);
    }
    static Floats<Avx512> smaller(Floats<Avx512> a, Floats<Avx512> b) {
        return (Floats<Avx512>)_mm512_min_ps((__m512)a, (__m512)b);
    }
    static Words smaller(Words a, Words b) {
        return (Words)_mm512_min_epu16((__m512i)a, (__m512i)b);
    }
    static Words subtract(Words a, Words b) {
        return (Words)_mm512_subs_epu16((__m512i)a, (__m512i)b);
    }
};

extern const KernelTable kAvx512Kernels;
constinit const KernelTable kAvx512Kernels = vector_kernels<Avx512>();

}  // namespace frames

#endif
