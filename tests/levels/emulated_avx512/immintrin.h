// Stands in for the compiler's header where the AVX-512 level is compiled to be tested on CPUs
// without it: SIMDe's functions under the names of the intrinsics.
#pragma once

#include_next <immintrin.h>

#include <stdint.h>
#include <string.h>

// SIMDe asks by this whether the compiler has the type.
#define __mmask64 __mmask64
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/avx512.h>

// What SIMDe lacks, 0.7.4 at least, element by element.
namespace emulated {

template <class Element>
struct Elements {
    static constexpr int kCount = 64 / sizeof(Element);
    Element at[kCount];

    Elements() : at{} {}
    explicit Elements(simde__m512i a) { memcpy(at, &a, 64); }
    operator simde__m512i() const {
        simde__m512i a;
        memcpy(&a, at, 64);
        return a;
    }
};

inline void stream(void* p, simde__m512i a) { memcpy(p, &a, 64); }

inline simde__m512i high_of_products(simde__m512i a, simde__m512i b) {
    Elements<uint16_t> x(a), y(b);
    for (int i = 0; i < 32; ++i) x.at[i] = static_cast<uint16_t>(uint32_t{x.at[i]} * y.at[i] >> 16);
    return x;
}

template <class From, class To, class Vector>
simde__m512i widened(Vector a) {
    Elements<To> wide;
    From narrow[wide.kCount];
    memcpy(narrow, &a, sizeof narrow);
    for (int i = 0; i < wide.kCount; ++i) wide.at[i] = narrow[i];
    return wide;
}

template <class Word, class Predicate>
uint32_t words_where(simde__m512i a, simde__m512i b, Predicate holds) {
    const Elements<Word> x(a), y(b);
    uint32_t mask = 0;
    for (int i = 0; i < 32; ++i) mask |= static_cast<uint32_t>(holds(x.at[i], y.at[i])) << i;
    return mask;
}
inline uint32_t without_common_bits(simde__m512i a, simde__m512i b) {
    return words_where<uint16_t>(a, b, [](int x, int y) { return (x & y) == 0; });
}
inline uint32_t greater(simde__m512i a, simde__m512i b) {
    return words_where<int16_t>(a, b, [](int x, int y) { return x > y; });
}

// Bytes whose bit of the mask is 0 are not touched.
inline simde__m512i load(uint64_t mask, const void* p) {
    Elements<uint8_t> bytes;
    for (int i = 0; i < 64; ++i)
        if (mask >> i & 1) bytes.at[i] = static_cast<const uint8_t*>(p)[i];
    return bytes;
}
inline void store(void* p, uint64_t mask, simde__m512i a) {
    const Elements<uint8_t> bytes(a);
    for (int i = 0; i < 64; ++i)
        if (mask >> i & 1) static_cast<uint8_t*>(p)[i] = bytes.at[i];
}

}  // namespace emulated

#undef _mm512_stream_si512
#undef _mm512_mulhi_epu16
#undef _mm512_cvtepu8_epi16
#undef _mm512_cvtepu8_epi64
#undef _mm512_cvtepu16_epi64
#undef _mm512_cvtepu32_epi64
#undef _mm512_cmpgt_epi16_mask
#undef _mm512_testn_epi16_mask
#undef _mm512_maskz_loadu_epi8
#undef _mm512_mask_storeu_epi8
#define _mm512_stream_si512     emulated::stream
#define _mm512_mulhi_epu16      emulated::high_of_products
#define _mm512_cvtepu8_epi16    emulated::widened<uint8_t, uint16_t>
#define _mm512_cvtepu8_epi64    emulated::widened<uint8_t, uint64_t>
#define _mm512_cvtepu16_epi64   emulated::widened<uint16_t, uint64_t>
#define _mm512_cvtepu32_epi64   emulated::widened<uint32_t, uint64_t>
#define _mm512_cmpgt_epi16_mask emulated::greater
#define _mm512_testn_epi16_mask emulated::without_common_bits
#define _mm512_maskz_loadu_epi8 emulated::load
#define _mm512_mask_storeu_epi8 emulated::store
