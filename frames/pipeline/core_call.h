#pragma once

#include "imgcnv_frames.h"
#include "pipeline/core_frame.h"
#include "pipeline/kernel_call.h"
#include "pipeline/task.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace frames {

/// An open converter of libimgcnv, or its kernels where it has no such converter.
class CoreCall {
  public:
    explicit CoreCall(const CoreFrame& frame) : frame_(frame) {}
    CoreCall(CoreCall&& other) noexcept
        : frame_(other.frame_),
          handle_(std::exchange(other.handle_, nullptr)),
          kernels_(std::move(other.kernels_)) {}
    ~CoreCall();

    imgcnv_status open();
    const CoreFrame& frame() const { return frame_; }

    /// Makes rows task.made and writes rows task.keep.
    ///
    ///   source  row 0 of the frame, or of the samples that were made for the task
    imgcnv_status run(const Task& task, const std::uint8_t* source, std::uint8_t* target) const;

  private:
    CoreFrame frame_;
    IMGCNV_HANDLE handle_ = nullptr;
    std::unique_ptr<KernelCall> kernels_;
};

}  // namespace frames
