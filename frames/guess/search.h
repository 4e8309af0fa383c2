#pragma once

#include "guess/byte_source.h"
#include "guess/placement.h"
#include "guess/prediction_cost.h"

#include <span>
#include <vector>

namespace frames {

/// A hypothesis and where its frames lie.
struct Candidate {
    Hypothesis hypothesis;
    Placement placement;
    double cost = 0;  ///< prediction_cost
    double rank = 0;  ///< the cost and what speaks against the candidate, in bits per byte
    double expected_penalty = 0;  ///< of its placement, which is found last
    double rank_of_sites = 0;     ///< part of the rank: whether it should be a mosaic
};

/// Candidates in order, the best first. They point into `fits`, which holds the codings that were
/// considered. Members of `known` that are given are kept.
std::vector<Candidate> search(ByteSource& source, std::span<const std::uint8_t> window,
                              const imgcnv_frame& known, std::vector<CodingFit>& fits);

}  // namespace frames
