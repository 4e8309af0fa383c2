// The AVX-512 level.

#include "levels/vector_kernels.h"
#include "simd/vec_avx512.h"

namespace imgcnv {

struct Avx512Level {};

extern const KernelTable kAvx512Streaming, kAvx512Kernels;
constinit const KernelTable kAvx512Streaming =
    table_of<StreamingKernels<Vec64<Avx512Level>>>("avx512");
constinit const KernelTable kAvx512Kernels =
    table_of<VectorKernels<Vec64<Avx512Level>>>("avx512", &kAvx512Streaming);

}  // namespace imgcnv
