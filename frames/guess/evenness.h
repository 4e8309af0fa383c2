#pragma once

#include "guess/prediction_cost.h"

#include <span>

namespace frames {

/// What the differences of neighbours say against a reading, in bits per byte. In a row of pixels
/// they are the same wherever the neighbours stand. Where every third one is larger, three samples
/// are one pixel; where they are not, grey samples are read as colours. The bits of samples tell
/// the same about samples of fewer bits.
double against_evenness(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

}  // namespace frames
