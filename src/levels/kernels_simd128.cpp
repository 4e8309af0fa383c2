// The level of WebAssembly's vectors, without streaming kernels: it has no such store.

#include "levels/vector_kernels.h"
#include "simd/vec_wasm.h"

namespace imgcnv {

extern const KernelTable kSimd128Kernels;
constinit const KernelTable kSimd128Kernels = table_of<VectorKernels<Vec16Wasm>>("simd128");

}  // namespace imgcnv
