// The AVX-512 level.

#include "simd/kernels_simd.h"
#include "simd/vec_avx512.h"

namespace imgcnv {

extern const KernelTable kAvx512Kernels;
constinit const KernelTable kAvx512Kernels = table_of<VectorBodies<Avx512>>("avx512");

}  // namespace imgcnv
