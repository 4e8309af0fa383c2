// The AVX-512 level.

#include "simd/kernels_simd.h"
#include "simd/vec_avx512.h"

namespace imgcnv {

struct Avx512Level {};

extern const KernelTable kAvx512PastCaches, kAvx512Kernels;
constinit const KernelTable kAvx512PastCaches =
    table_of<PastCachesBodies<Vec64<Avx512Level>>>("avx512");
constinit const KernelTable kAvx512Kernels =
    table_of<VectorBodies<Vec64<Avx512Level>>>("avx512", &kAvx512PastCaches);

}  // namespace imgcnv
