// The SSE4.1 level.

#include "levels/vector_kernels.h"
#include "simd/vec_sse4.h"

namespace imgcnv {

extern const KernelTable kSse4Kernels;
extern const KernelTable kSse4Streaming;
constinit const KernelTable kSse4Streaming =
    table_of<VectorKernels<Vec16, Streaming<Vec16>>>("sse4");
constinit const KernelTable kSse4Kernels = table_of<VectorKernels<Vec16>>("sse4", &kSse4Streaming);

}  // namespace imgcnv
