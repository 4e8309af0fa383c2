// The SSE4.1 level.

#include "simd/kernels_simd.h"
#include "simd/vec_sse4.h"

namespace imgcnv {

struct Sse4Level {};

extern const KernelTable kSse4PastCaches, kSse4Kernels;
constinit const KernelTable kSse4PastCaches = table_of<PastCachesBodies<Vec16<Sse4Level>>>("sse4");
constinit const KernelTable kSse4Kernels =
    table_of<VectorBodies<Vec16<Sse4Level>>>("sse4", &kSse4PastCaches);

}  // namespace imgcnv
