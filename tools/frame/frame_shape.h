#pragma once

#include "formats/format.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

/// Where the pixels of one frame lie. All sizes are bytes in 64 bits; validated() has made sure
/// that every product of them that the library forms in 32 bits fits there.
struct FrameShape {
    const SourceFormat* format = nullptr;
    std::int64_t width = 0;
    std::int64_t height = 0;
    /// Bytes from one row's start to the next one's. Absent: rows follow each other; rows of
    /// Mono1p and Mono4p then share bytes, as one stream of pixels.
    std::optional<std::int64_t> stride;

    /// Bytes a row of pixels takes. YUV rows end with a whole group, packed rows of odd width
    /// with the two bytes of their last sample.
    std::int64_t rowBytes() const;
    bool isStream() const;
    std::int64_t rowPitch() const { return stride.value_or(rowBytes()); }

    /// From one frame's start to the next one's. Mono1C has no such size: 0.
    std::int64_t frameBytes() const;
    /// Bytes that must be there: the last row needs no padding.
    std::int64_t neededBytes() const;

    std::string text() const;
    bool operator==(const FrameShape&) const = default;
};

/// Checks the geometry against what the library can address; throws UsageError.
FrameShape validated(FrameShape shape, std::optional<std::int64_t> padding);

/// Bytes of `width` pixels of the format, rounded up as rowBytes() does.
std::int64_t rowBytes(const SourceFormat& format, std::int64_t width);

/// What a length in bytes says when it is not that of the shape: rows padded, several frames, other
/// bits a pixel, data behind the image. One line a finding, best first.
std::string explainLength(const FrameShape& shape, std::int64_t bytes);

}  // namespace tool
