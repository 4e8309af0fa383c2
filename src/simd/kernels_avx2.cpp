// The AVX2 level.

#include "simd/kernels_simd.h"
#include "simd/vec_avx2.h"

namespace imgcnv {

extern const KernelTable kAvx2Kernels;
constinit const KernelTable kAvx2Kernels = table_of<VectorBodies<Avx2>>("avx2");

}  // namespace imgcnv
