#pragma once

#include "imgcnv.h"
#include "imgcnv_frames.h"

#include <cstdint>
#include <utility>

namespace frames {

/// What one call of libimgcnv converts: rows of `width` pixels every `stride` bytes, to rows
/// without padding.
struct CoreFrame {
    IMGCNV_EPixelFormat format;
    std::int64_t width;
    std::int64_t rows;
    std::int64_t row_bytes;
    std::int64_t stride;
    IMGCNV_EPixelFormat target;
    IMGCNV_EBayerDemosaic demosaic;

    bool operator==(const CoreFrame&) const = default;
};

/// An open converter of libimgcnv.
class CoreCall {
  public:
    explicit CoreCall(const CoreFrame& frame) : frame_(frame) {}
    CoreCall(CoreCall&& other) noexcept
        : frame_(other.frame_), handle_(std::exchange(other.handle_, nullptr)) {}
    ~CoreCall();

    imgcnv_status open();
    const CoreFrame& frame() const { return frame_; }

    /// `target` has room for the extra row of a mosaic of odd height.
    imgcnv_status run(const std::uint8_t* source, std::uint8_t* target) const;

  private:
    CoreFrame frame_;
    IMGCNV_HANDLE handle_ = nullptr;
};

}  // namespace frames
