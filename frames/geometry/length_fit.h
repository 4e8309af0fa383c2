#pragma once

#include "geometry/frame_geometry.h"

namespace frames {

/// How many frames are in `bytes`, and what would explain the rest.
struct LengthFit {
    std::int64_t frames = 0;
    std::int64_t left_over = 0;
    imgcnv_fit fit = IMGCNV_FIT_EXACT;
    std::int64_t value = 0;
};

/// `gap` bytes lie between frames. Explanations are appended to the text, one per line, each begun
/// by `text.line()` except the first of an empty text.
LengthFit fit_length(const Geometry& geometry, std::int64_t gap, std::int64_t bytes, Text& text);

}  // namespace frames
