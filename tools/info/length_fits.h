#pragma once

#include "engine/frame.h"

#include <cstdint>
#include <vector>

namespace tool {

/// Frames of one size that account for every byte of a file.
struct LengthFit {
    std::int64_t width = 0, height = 0;
    std::int64_t frames = 1;
    std::int64_t padding = 0;  ///< bytes behind each row
    std::vector<const Format*> formats;
};

/// Known camera sizes of which the file holds a whole number of frames, few frames first.
std::vector<LengthFit> known_size_fits(std::int64_t bytes);

/// Single frames of common proportions (1:1, 5:4, 4:3, 3:2, 16:10, 16:9) with even sides.
std::vector<LengthFit> proportion_fits(std::int64_t bytes);

/// Whole frames of this size, rows padded by up to 4096 bytes.
std::vector<LengthFit> size_fits(std::int64_t bytes, std::int64_t width, std::int64_t height);

}  // namespace tool
