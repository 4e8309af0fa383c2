// Which kernels a frame goes to.
//
// A frame whose source and destination do not fit into the last-level cache is
// written 20 to 40 % faster with non-temporal stores, which spare the reading of
// the lines they overwrite; a frame that fits is written several times slower.
//
// The limits are constants: cpuid takes microseconds in a virtual machine, sysconf counts
// the caches of all sockets on some machines (384 MiB where a core has 32), and neither
// tells how much of a shared cache is left to us. Measured on a virtual machine, 32 MiB
// shared: between 24 and 32 MiB RGB8 to BGR24 and YUV take .8 to .9 of the time past the
// caches, flips of RGB8 .65, plain copies 1.2; below 20 MiB most lose. Nearest demosaicing
// takes .63 to .93 from 21 MiB on, with 20 up to 1.7. The other methods, which compute while
// lines are on their way, gain from 16 MiB on: at 4 megapixels .8 to .9, at 5 .6 to .85.
#pragma once

#include <cstddef>

#include "simd/kernel_table.h"

namespace imgcnv {

// The best kernels of this CPU for a frame of so many bytes. Lives as long as the
// frame is being written: the end completes what went past the caches.
class KernelsForFrame {
  public:
    static constexpr size_t kStreamAbove = size_t{24} << 20;
    static constexpr size_t kStreamNearestAbove = size_t{21} << 20;
    static constexpr size_t kStreamDemosaicAbove = size_t{15} << 20;

    KernelsForFrame(size_t src_bytes, size_t dst_bytes, size_t stream_above = kStreamAbove);
    ~KernelsForFrame();
    KernelsForFrame(const KernelsForFrame&) = delete;
    KernelsForFrame& operator=(const KernelsForFrame&) = delete;

    const KernelTable& operator*() const { return *table_; }
    const KernelTable* operator->() const { return table_; }

  private:
    const KernelTable* table_;
    bool streams_;
};

}  // namespace imgcnv
