#pragma once

#include "formats/format.h"
#include "support/text.h"

#include <cstdint>

namespace frames {

/// Bytes of `width` pixels: LSB_FIRST and PACKED formats end with the byte of their last bit, all
/// others with a whole group. 0 for lists of points.
std::int64_t row_bytes(const Format& format, std::int64_t width);

/// A frame whose description has been checked.
struct Geometry {
    const Format* format = nullptr;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t row_bytes = 0;
    std::int64_t stride = 0;  ///< from row to row; 0 where rows share bytes as one stream of bits
    std::int64_t frame_bytes = 0;
    std::int64_t needed_bytes = 0;
    bool big_endian = false;
    bool video_range = false;

    bool is_stream() const { return stride == 0 && !is_points(*format); }
};

/// Checks a description. The text says what is wrong; `geometry` is untouched then.
imgcnv_status measure(const imgcnv_frame& frame, Geometry& geometry, Text& text);

/// The same for a structure of the caller, which may be null or of an older version.
imgcnv_status measure(const imgcnv_frame* given, Geometry& geometry, Text& text);

/// "Mono12p 640x480, rows of 960 bytes every 1024"
void describe(const Geometry& geometry, Text& text);

/// "source has 9 bytes, expected 307200 for Mono8 640x480 ..." with what would explain it.
void explain_length(const Geometry& geometry, std::int64_t given_bytes, Text& text);

}  // namespace frames
