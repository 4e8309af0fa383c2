#include "converter/frame_kernels.h"

#include <emmintrin.h>

#include "simd/cpu_level.h"

namespace imgcnv {

namespace {

// The last-level cache that one core of today's servers and desktops can fill.
// A constant: cpuid takes microseconds in a virtual machine, and sysconf counts
// the caches of all sockets on some machines (384 MiB where a core has 32).
constexpr size_t kLastLevelCache = size_t{32} << 20;

}  // namespace

FrameKernels::FrameKernels(size_t src_bytes, size_t dst_bytes)
    : table_(&kernels_for_this_cpu()),
      past_caches_(table_->past_caches != nullptr && src_bytes + dst_bytes > kLastLevelCache) {
    if (past_caches_) table_ = table_->past_caches;
}

FrameKernels::~FrameKernels() {
    if (past_caches_) _mm_sfence();
}

}  // namespace imgcnv
