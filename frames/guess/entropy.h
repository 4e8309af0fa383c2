#pragma once

#include <cstdint>
#include <span>

namespace frames {

/// The bits of symbols that occur so often each, and those that tell a coder how often: half the
/// logarithm of their number per symbol. Few samples would flatter codings of many symbols.
double entropy_bits(std::span<const std::uint32_t> counts);

/// Bits per byte when bytes are coded one by one, without looking at others.
double plain_entropy(std::span<const std::uint8_t> bytes);

}  // namespace frames
