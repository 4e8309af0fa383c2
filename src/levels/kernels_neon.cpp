// The NEON level, without streaming kernels: compilers have no such store for it.

#include "levels/vector_kernels.h"
#include "simd/vec_neon.h"

namespace imgcnv {

struct NeonLevel {};

extern const KernelTable kNeonKernels;
constinit const KernelTable kNeonKernels = table_of<VectorKernels<Vec16Neon<NeonLevel>>>("neon");

}  // namespace imgcnv
