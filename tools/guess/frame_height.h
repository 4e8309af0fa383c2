#pragma once

#include "frame/frame_shape.h"

#include <span>

namespace tool {

/// Divides the rows into frames when the jumps between rows come at even distances: shape.height
/// becomes that of one frame. Needs whole frames; leaves the shape alone when there is one frame or
/// no telling.
void splitFrames(std::span<const std::uint8_t> bytes, FrameShape& shape, std::int64_t& frames);

}  // namespace tool
