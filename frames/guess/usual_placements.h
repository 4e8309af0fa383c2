#pragma once

#include "guess/placement.h"

#include <cstdint>
#include <span>

namespace frames {

/// Bytes that headers and chunks usually have.
std::span<const std::int64_t> usual_lengths();

/// Adds to the penalty what is unusual about a placement, whatever the bytes are: its header, the
/// bytes between and behind the frames, their number and their shape. `size` is that of the file;
/// what `known` gives is never unusual.
void weigh_usualness(Placement& placement, const Hypothesis& hypothesis, const imgcnv_frame& known,
                     std::int64_t size);

}  // namespace frames
