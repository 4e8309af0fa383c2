// The AVX-512 level.

#include "simd/kernels_simd.h"
#include "simd/vec_avx512.h"

namespace imgcnv {

struct Avx512Level {};

extern const KernelTable kAvx512Kernels;
constinit const KernelTable kAvx512Kernels = table_of<VectorBodies<Vec64<Avx512Level>>>("avx512");

}  // namespace imgcnv
