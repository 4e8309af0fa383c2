// The AVX2 level.

#if defined(__x86_64__)

#include "layouts/vector_kernels.h"

#include <immintrin.h>

namespace frames {

struct Avx2 {
    static constexpr size_t kLanes = 2;
    using Bytes = frames::Bytes<Avx2>;
    using Words = frames::Words<Avx2>;

    static Bytes shuffle(Bytes a, Bytes indices) {
        return (Bytes)_mm256_shuffle_epi8((__m256i)a, (__m256i)indices);
    }
    static __m128i piece(const void* p) { return _mm_loadu_si128((const __m128i*)p); }
    static Bytes load_lanes(const uint8_t* p, size_t step) {
        return (Bytes)_mm256_inserti128_si256(_mm256_castsi128_si256(piece(p)), piece(p + step), 1);
    }
    static void store(uint8_t* p, __m256i a) { _mm256_storeu_si256((__m256i*)p, a); }
    static void store_lanes(uint8_t* p, size_t step, Bytes a) {
        _mm_storeu_si128((__m128i*)p, _mm256_castsi256_si128((__m256i)a));
        _mm_storeu_si128((__m128i*)(p + step), _mm256_extracti128_si256((__m256i)a, 1));
    }
    static void store_lanes3(uint8_t* p, Bytes a, Bytes b, Bytes c) {
        store(p, _mm256_permute2x128_si256((__m256i)a, (__m256i)b, 0x20));
        store(p + 32, _mm256_permute2x128_si256((__m256i)c, (__m256i)a, 0x30));
        store(p + 64, _mm256_permute2x128_si256((__m256i)b, (__m256i)c, 0x31));
    }
    static void stream(uint8_t* p, Bytes a) { _mm256_stream_si256((__m256i*)p, (__m256i)a); }
    static void end_stream() { _mm_sfence(); }
    static Bytes broadcast(const void* p) { return (Bytes)_mm256_broadcastsi128_si256(piece(p)); }
    static Bytes pack_words(Words a, Words b) {
        return (Bytes)_mm256_packus_epi16((__m256i)a, (__m256i)b);
    }
    static Words pack_dwords(Dwords<Avx2> a, Dwords<Avx2> b) {
        return (Words)_mm256_packus_epi32((__m256i)a, (__m256i)b);
    }
    static Words multiply_high(Words a, Words b) {
        return (Words)_mm256_mulhi_epu16((__m256i)a, (__m256i)b);
    }
    static Words average(Words a, Words b) {
        return (Words)_mm256_avg_epu16((__m256i)a, (__m256i)b);
    }
    static Floats<Avx2> smaller(Floats<Avx2> a, Floats<Avx2> b) {
        return (Floats<Avx2>)_mm256_min_ps((__m256)a, (__m256)b);
    }
    static Words smaller(Words a, Words b) {
        return (Words)_mm256_min_epu16((__m256i)a, (__m256i)b);
    }
    static Words subtract(Words a, Words b) {
        return (Words)_mm256_subs_epu16((__m256i)a, (__m256i)b);
    }
};

extern const KernelTable kAvx2Kernels;
constinit const KernelTable kAvx2Kernels = vector_kernels<Avx2>();

}  // namespace frames

#endif
