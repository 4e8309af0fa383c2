#include "simd/cpu_level.h"

namespace imgcnv {

const KernelTable& kernels_for_this_cpu() {
    // What the operating system saves on a context switch is part of the answer.
    if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq")) {
        return kAvx512Kernels;
    }
    if (__builtin_cpu_supports("avx2")) return kAvx2Kernels;
    if (__builtin_cpu_supports("sse4.1")) return kSse4Kernels;
    return kPlainKernels;
}

}  // namespace imgcnv
