#pragma once

#include "frame/frame_shape.h"
#include "picture/picture16.h"

#include <cstdint>
#include <vector>

namespace tool {

/// The picture as a raw frame of the shape, whose size is the picture's: the inverse of each
/// source layout. Padding bytes are 0. Throws UsageError when the format cannot hold the picture.
///
///   grey     (299 R + 587 G + 114 B) / 1000, rounded; Mono1p: white from half on
///   Bayer    at each site the sample of its colour
///   YUV      full-range BT.601, chroma of the mean colour of a group; groups that reach over the
///            right edge repeat the last pixel
///   Mono1C   a point for every pixel that is not black, then the four zero bytes
std::vector<std::uint8_t> packFrame(const Picture16& picture, const FrameShape& shape);

}  // namespace tool
