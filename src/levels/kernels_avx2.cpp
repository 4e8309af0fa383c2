// The AVX2 level.

#include "levels/vector_kernels.h"
#include "simd/vec_avx2.h"

namespace imgcnv {

struct Avx2Level {};

extern const KernelTable kAvx2Streaming, kAvx2Kernels;
constinit const KernelTable kAvx2Streaming = table_of<StreamingKernels<Vec32<Avx2Level>>>("avx2");
constinit const KernelTable kAvx2Kernels =
    table_of<VectorKernels<Vec32<Avx2Level>>>("avx2", &kAvx2Streaming);

}  // namespace imgcnv
