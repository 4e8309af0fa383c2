#include "converter/streaming.h"

#include <emmintrin.h>

namespace imgcnv {

bool is_worth_streaming(const KernelTable& kernels, size_t src_bytes, size_t dst_bytes) {
    // The last-level cache that one core of today's servers and desktops can fill.
    // A constant: cpuid takes microseconds in a virtual machine, and sysconf counts
    // the caches of all sockets on some machines (384 MiB where a core has 32).
    constexpr size_t kLastLevelCache = size_t{32} << 20;
    return kernels.stream != nullptr && src_bytes + dst_bytes > kLastLevelCache;
}

void finish_streaming() { _mm_sfence(); }

}  // namespace imgcnv
