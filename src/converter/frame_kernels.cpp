#include "converter/frame_kernels.h"

#include <emmintrin.h>

#include "simd/cpu_level.h"

namespace imgcnv {

FrameKernels::FrameKernels(size_t src_bytes, size_t dst_bytes, size_t most_cached)
    : table_(&kernels_for_this_cpu()),
      past_caches_(table_->past_caches != nullptr && src_bytes + dst_bytes > most_cached) {
    if (past_caches_) table_ = table_->past_caches;
}

FrameKernels::~FrameKernels() {
    if (past_caches_) _mm_sfence();
}

}  // namespace imgcnv
