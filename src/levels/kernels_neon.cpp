// The NEON level, without streaming kernels: compilers have no such store for it.

#include "levels/vector_kernels.h"
#include "simd/vec_neon.h"

namespace imgcnv {

extern const KernelTable kNeonKernels;
constinit const KernelTable kNeonKernels = table_of<VectorKernels<Vec16Neon>>("neon");

}  // namespace imgcnv
