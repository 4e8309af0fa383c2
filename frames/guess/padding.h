#pragma once

#include "guess/placement.h"
#include "guess/prediction_cost.h"

#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// Bytes of a row that hold one value in all rows, as the last ones of a padded row do.
struct ConstantColumns {
    bool are_zeros = false;
    std::int64_t first = 0;
    std::int64_t count = 0;

    std::int64_t end() const { return first + count; }
};

/// The longest runs of columns that hold the same value in all rows, across the end of the row too:
/// where a header is in front, rows do not begin at column 0.
std::vector<ConstantColumns> constant_columns(std::span<const std::uint8_t> window,
                                              std::int64_t pitch);

/// Zeros fill up the last group of pixels, and rows to a multiple of 4 bytes. They end a
/// picture sharply: the last column before them is 0 hardly anywhere.
std::int64_t width_without_padding(std::span<const std::uint8_t> window,
                                   const Hypothesis& hypothesis, const Placement& placement);

}  // namespace frames
