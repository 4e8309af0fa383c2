#include "levels/level.h"
#include "simd/cpu.h"

namespace imgcnv {

extern const KernelTable kPlainKernels;
extern const KernelTable kSse4Kernels;
extern const KernelTable kAvx2Kernels;
extern const KernelTable kAvx512Kernels;
extern const KernelTable kNeonKernels;
extern const KernelTable kSimd128Kernels;

namespace {

constexpr Level kLevels[] = {
    {"plain", &kPlainKernels, [] { return true; }},
#if defined(__x86_64__)
    {"sse4", &kSse4Kernels, cpu_has_sse4},
    {"avx2", &kAvx2Kernels, cpu_has_avx2},
    {"avx512", &kAvx512Kernels, cpu_has_avx512},
#elif defined(__aarch64__)
    {"neon", &kNeonKernels, [] { return true; }},  // every such CPU has it
#elif defined(__wasm_simd128__)
    {"simd128", &kSimd128Kernels, [] { return true; }},  // or the module would not have loaded
#endif
};

}  // namespace

std::span<const Level> levels() { return kLevels; }

}  // namespace imgcnv
