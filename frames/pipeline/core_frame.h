#pragma once

#include "imgcnv.h"

#include <cstdint>

namespace frames {

class SourceRows;

/// What one call of libimgcnv converts: rows of `width` pixels every `stride` bytes.
struct CoreFrame {
    IMGCNV_EPixelFormat format;
    std::int64_t width;
    std::int64_t rows;
    std::int64_t row_bytes;
    std::int64_t stride;
    IMGCNV_EPixelFormat target;
    IMGCNV_EBayerDemosaic demosaic;
    std::int64_t target_stride = 0;  ///< 0: libimgcnv's interface does it, in rows without padding

    /// Of a mosaic: rows of the frame, which is read mirrored beyond its first one.
    std::int64_t frame_rows = 0;
    const SourceRows* lines = nullptr;  ///< of a mosaic: decode its rows

    /// Of the whole frame and its picture, where this is a part that is written into a picture too
    /// large for the caches. 0: as many as the call's own.
    std::int64_t whole_bytes = 0;

    bool operator==(const CoreFrame&) const = default;
};

}  // namespace frames
