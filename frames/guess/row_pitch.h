#pragma once

#include "guess/coding_fit.h"

#include <cstdint>
#include <span>
#include <vector>

namespace frames {

struct PitchCandidates {
    std::vector<std::int64_t> bits;  ///< the clearest first
    std::int64_t clear = 0;          ///< the first one where no other comes near it; 0: none
};

/// Distances in bits at which the bytes resemble themselves when read with a coding: rows of a
/// picture resemble the rows beside them, those of mosaics the second next ones even more. `size`
/// is that of the file.
PitchCandidates pitch_candidates(std::span<const std::uint8_t> window, const CodingFit& fit,
                                 std::int64_t size, std::size_t count);

}  // namespace frames
