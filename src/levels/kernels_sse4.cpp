// The SSE4.1 level.

#include "levels/vector_kernels.h"
#include "simd/vec_sse4.h"

namespace imgcnv {

struct Sse4Level {};

extern const KernelTable kSse4Kernels;
extern const KernelTable kSse4Streaming;
constinit const KernelTable kSse4Streaming = table_of<StreamingKernels<Vec16<Sse4Level>>>("sse4");
constinit const KernelTable kSse4Kernels =
    table_of<VectorKernels<Vec16<Sse4Level>>>("sse4", &kSse4Streaming);

}  // namespace imgcnv
