#pragma once

#include "guess/coding.h"

#include <optional>

namespace frames {

/// What speaks against a depth where the largest sample of a frame is `largest`, in bits per byte;
/// absent where the samples have more bits.
std::optional<double> against_depth(const Format& format, const Coding& coding, unsigned largest);

}  // namespace frames
