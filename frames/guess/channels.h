#pragma once

#include "guess/prediction_cost.h"

#include <span>

namespace frames {

/// What the channels say against a reading, in bits per byte; negative: for it.
/// Chroma of pictures lies about 128 and changes less from pixel to pixel than luma does. Green is
/// as much of a picture as red and blue are. Alpha of cameras has one value. Grey pictures change
/// at any byte.
double against_channels(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

}  // namespace frames
