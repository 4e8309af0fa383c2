// The AVX2 level.

#include "simd/kernels_simd.h"
#include "simd/vec_avx2.h"

namespace imgcnv {

struct Avx2Level {};

extern const KernelTable kAvx2PastCaches, kAvx2Kernels;
constinit const KernelTable kAvx2PastCaches = table_of<PastCachesBodies<Vec32<Avx2Level>>>("avx2");
constinit const KernelTable kAvx2Kernels =
    table_of<VectorBodies<Vec32<Avx2Level>>>("avx2", &kAvx2PastCaches);

}  // namespace imgcnv
