// The SSE4.1 level. Compilers for WebAssembly translate it to that platform's vectors, which have
// no streaming stores.

#include "levels/vector_kernels.h"
#include "simd/vec_sse4.h"

namespace imgcnv {

struct Sse4Level {};

extern const KernelTable kSse4Kernels;
#if defined(__wasm__)
constinit const KernelTable kSse4Kernels = table_of<VectorKernels<Vec16<Sse4Level>>>("sse4");
#else
extern const KernelTable kSse4Streaming;
constinit const KernelTable kSse4Streaming = table_of<StreamingKernels<Vec16<Sse4Level>>>("sse4");
constinit const KernelTable kSse4Kernels =
    table_of<VectorKernels<Vec16<Sse4Level>>>("sse4", &kSse4Streaming);
#endif

}  // namespace imgcnv
