// Compiled once per vector width with that width's instruction set; only C headers
// and code of its own, so that nothing of it serves the rest of the program.
#include "bare_pass_width.h"

#include <immintrin.h>

namespace imgcnv::bench {
namespace {

#if VECTOR_BYTES == 64
using Vector = __m512i;
inline Vector load(const uint8_t* p) { return _mm512_loadu_si512(p); }
inline void store(uint8_t* p, Vector v) { _mm512_storeu_si512(p, v); }
inline void stream(uint8_t* p, Vector v) { _mm512_stream_si512(reinterpret_cast<Vector*>(p), v); }
#elif VECTOR_BYTES == 32
using Vector = __m256i;
inline Vector load(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const Vector*>(p));
}
inline void store(uint8_t* p, Vector v) { _mm256_storeu_si256(reinterpret_cast<Vector*>(p), v); }
inline void stream(uint8_t* p, Vector v) { _mm256_stream_si256(reinterpret_cast<Vector*>(p), v); }
#else
using Vector = __m128i;
inline Vector load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const Vector*>(p)); }
inline void store(uint8_t* p, Vector v) { _mm_storeu_si128(reinterpret_cast<Vector*>(p), v); }
inline void stream(uint8_t* p, Vector v) { _mm_stream_si128(reinterpret_cast<Vector*>(p), v); }
#endif

// Units of `loads` vectors in and `stores` vectors out. At least four vectors a
// round, so that the loop itself costs nothing.
template <int loads, int stores, bool non_temporal>
Progress pass(const uint8_t* src, size_t src_bytes, uint8_t* dst) {
    constexpr int repeat = loads + stores >= 8 ? 1 : 8 / (loads + stores);
    constexpr size_t src_step = size_t{loads} * repeat * VECTOR_BYTES;
    constexpr size_t dst_step = size_t{stores} * repeat * VECTOR_BYTES;
    const size_t rounds = src_bytes / src_step;
    for (size_t i = 0; i < rounds; ++i) {
        Vector v[loads * repeat];
#pragma GCC unroll 16
        for (int k = 0; k < loads * repeat; ++k) {
            v[k] = load(src + i * src_step + k * VECTOR_BYTES);
            asm volatile("" : "+v"(v[k]));  // loaded, used or not
        }
#pragma GCC unroll 16
        for (int k = 0; k < stores * repeat; ++k) {
            uint8_t* to = dst + i * dst_step + k * VECTOR_BYTES;
            const Vector value = v[k % (loads * repeat)];
            if constexpr (non_temporal) {
                stream(to, value);
            } else {
                store(to, value);
            }
        }
    }
    if constexpr (non_temporal) _mm_sfence();
    return {rounds * src_step, rounds * dst_step};
}

template <bool non_temporal>
Progress pass_of_ratio(const uint8_t* src, size_t src_bytes, uint8_t* dst, size_t dst_bytes) {
    const auto is = [&](size_t in, size_t out) { return src_bytes * out == dst_bytes * in; };
    if (is(1, 1)) return pass<1, 1, non_temporal>(src, src_bytes, dst);
    if (is(1, 2)) return pass<1, 2, non_temporal>(src, src_bytes, dst);
    if (is(1, 3)) return pass<1, 3, non_temporal>(src, src_bytes, dst);
    if (is(1, 4)) return pass<1, 4, non_temporal>(src, src_bytes, dst);
    if (is(1, 6)) return pass<1, 6, non_temporal>(src, src_bytes, dst);
    if (is(1, 8)) return pass<1, 8, non_temporal>(src, src_bytes, dst);
    if (is(1, 16)) return pass<1, 16, non_temporal>(src, src_bytes, dst);
    if (is(2, 1)) return pass<2, 1, non_temporal>(src, src_bytes, dst);
    if (is(3, 1)) return pass<3, 1, non_temporal>(src, src_bytes, dst);
    if (is(3, 2)) return pass<3, 2, non_temporal>(src, src_bytes, dst);
    if (is(2, 3)) return pass<2, 3, non_temporal>(src, src_bytes, dst);
    if (is(3, 4)) return pass<3, 4, non_temporal>(src, src_bytes, dst);
    if (is(3, 8)) return pass<3, 8, non_temporal>(src, src_bytes, dst);
    if (is(4, 3)) return pass<4, 3, non_temporal>(src, src_bytes, dst);
    if (is(5, 4)) return pass<5, 4, non_temporal>(src, src_bytes, dst);
    if (is(5, 8)) return pass<5, 8, non_temporal>(src, src_bytes, dst);
    if (is(7, 4)) return pass<7, 4, non_temporal>(src, src_bytes, dst);
    if (is(7, 8)) return pass<7, 8, non_temporal>(src, src_bytes, dst);
    return {0, 0};
}

}  // namespace

template <>
Progress bare_pass_units<VECTOR_BYTES>(const uint8_t* src, size_t src_bytes, uint8_t* dst,
                                       size_t dst_bytes, bool non_temporal) {
    return non_temporal ? pass_of_ratio<true>(src, src_bytes, dst, dst_bytes)
                        : pass_of_ratio<false>(src, src_bytes, dst, dst_bytes);
}

}  // namespace imgcnv::bench
