// Which kernels a frame goes to.
//
// A frame whose source and destination do not fit into the last-level cache is written faster with
// streaming stores, which spare the reading of the lines that they overwrite. A frame that fits is
// written several times slower with them.
//
// The limits are constants: cpuid takes microseconds in a virtual machine, sysconf counts the
// caches of all sockets on some machines, and neither tells how much of a shared cache is left to
// us. Methods that compute while lines are on their way gain from smaller frames on. docs/tuning.md
// has the figures.
#pragma once

#include <cstddef>

#include "simd/cpu.h"
#include "simd/kernel_table.h"

namespace imgcnv {

// The best kernels of this CPU for a frame of so many bytes. Lives as long as the frame is being
// written: its end is the fence after streaming stores.
class KernelsForFrame {
  public:
    static constexpr size_t kStreamAbove = size_t{24} << 20;
    static constexpr size_t kStreamNearestAbove = size_t{21} << 20;
    static constexpr size_t kStreamDemosaicAbove = size_t{15} << 20;

    KernelsForFrame(size_t src_bytes, size_t dst_bytes, size_t stream_above = kStreamAbove)
        : table_(&kernels_for_this_cpu()),
          streams_(table_->streaming != nullptr && src_bytes + dst_bytes > stream_above) {
        if (streams_) table_ = table_->streaming;
    }
    ~KernelsForFrame() {
        if (streams_) streaming_fence();
    }
    KernelsForFrame(const KernelsForFrame&) = delete;
    KernelsForFrame& operator=(const KernelsForFrame&) = delete;

    const KernelTable& operator*() const { return *table_; }
    const KernelTable* operator->() const { return table_; }

  private:
    const KernelTable* table_;
    bool streams_;
};

}  // namespace imgcnv
