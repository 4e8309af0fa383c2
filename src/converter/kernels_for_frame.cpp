#include "converter/kernels_for_frame.h"

#include "simd/cpu.h"

namespace imgcnv {

KernelsForFrame::KernelsForFrame(size_t src_bytes, size_t dst_bytes, size_t stream_above)
    : table_(&kernels_for_this_cpu()),
      streams_(table_->streaming != nullptr && src_bytes + dst_bytes > stream_above) {
    if (streams_) table_ = table_->streaming;
}

KernelsForFrame::~KernelsForFrame() {
    if (streams_) streaming_fence();
}

}  // namespace imgcnv
