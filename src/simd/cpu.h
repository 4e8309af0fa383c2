// What depends on the processor besides the vectors: which instruction sets it has, and the
// fence after streaming stores. Other processors than these have the plain level only.
#pragma once

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace imgcnv {

#if defined(__x86_64__)

// What the operating system saves on a context switch is part of the answers.
inline bool cpu_has_sse4() { return __builtin_cpu_supports("sse4.1") != 0; }
inline bool cpu_has_avx2() { return __builtin_cpu_supports("avx2") != 0; }
inline bool cpu_has_avx512() {
    return __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
}

// Makes streaming stores visible to other threads before what is stored from here on.
inline void streaming_fence() { _mm_sfence(); }

#else

inline void streaming_fence() {}  // no level streams

#endif

}  // namespace imgcnv
