// The SSE4.1 level.

#if defined(__x86_64__)

#include "layouts/vector_kernels.h"

#include <smmintrin.h>

namespace frames {

struct Sse4 {
    static constexpr size_t kLanes = 1;
    using Bytes = frames::Bytes<Sse4>;
    using Words = frames::Words<Sse4>;

    static Bytes shuffle(Bytes a, Bytes indices) {
        return (Bytes)_mm_shuffle_epi8((__m128i)a, (__m128i)indices);
    }
    static Bytes load_lanes(const uint8_t* p, size_t) {
        return (Bytes)_mm_loadu_si128((const __m128i*)p);
    }
    static void store_lanes(uint8_t* p, size_t, Bytes a) {
        _mm_storeu_si128((__m128i*)p, (__m128i)a);
    }
    static void store_lanes3(uint8_t* p, Bytes a, Bytes b, Bytes c) {
        store_lanes(p, 0, a);
        store_lanes(p + 16, 0, b);
        store_lanes(p + 32, 0, c);
    }
    static void stream(uint8_t* p, Bytes a) { _mm_stream_si128((__m128i*)p, (__m128i)a); }
    static void end_stream() { _mm_sfence(); }
    static Bytes broadcast(const void* p) { return load_lanes(static_cast<const uint8_t*>(p), 0); }
    static Bytes pack_words(Words a, Words b) {
        return (Bytes)_mm_packus_epi16((__m128i)a, (__m128i)b);
    }
    static Words pack_dwords(Dwords<Sse4> a, Dwords<Sse4> b) {
        return (Words)_mm_packus_epi32((__m128i)a, (__m128i)b);
    }
    static Words multiply_high(Words a, Words b) {
        return (Words)_mm_mulhi_epu16((__m128i)a, (__m128i)b);
    }
    static Words average(Words a, Words b) { return (Words)_mm_avg_epu16((__m128i)a, (__m128i)b); }
    static Floats<Sse4> smaller(Floats<Sse4> a, Floats<Sse4> b) {
        return (Floats<Sse4>)_mm_min_ps((__m128)a, (__m128)b);
    }
    static Words smaller(Words a, Words b) { return (Words)_mm_min_epu16((__m128i)a, (__m128i)b); }
    static Words subtract(Words a, Words b) {
        return (Words)_mm_subs_epu16((__m128i)a, (__m128i)b);
    }
};

extern const KernelTable kSse4Kernels;
constinit const KernelTable kSse4Kernels = vector_kernels<Sse4>();

}  // namespace frames

#endif
