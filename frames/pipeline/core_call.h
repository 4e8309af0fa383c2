#pragma once

#include "imgcnv_frames.h"
#include "pipeline/core_frame.h"
#include "pipeline/strided_call.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace frames {

/// An open converter of libimgcnv, or its kernels for rows that lie apart.
class CoreCall {
  public:
    explicit CoreCall(const CoreFrame& frame) : frame_(frame) {}
    CoreCall(CoreCall&& other) noexcept
        : frame_(other.frame_),
          handle_(std::exchange(other.handle_, nullptr)),
          strided_(std::move(other.strided_)) {}
    ~CoreCall();

    imgcnv_status open();
    const CoreFrame& frame() const { return frame_; }

    /// `target` has room for the extra row of a mosaic of odd height.
    imgcnv_status run(const std::uint8_t* source, std::uint8_t* target) const;

  private:
    CoreFrame frame_;
    IMGCNV_HANDLE handle_ = nullptr;
    std::unique_ptr<StridedCall> strided_;
};

}  // namespace frames
