#pragma once

#include "guess/coding.h"

#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// A coding at a place of the file: how well samples are predicted without knowing the width.
struct CodingFit {
    Coding coding;
    std::int64_t phase = 0;       ///< bytes from the window's start to the first whole group
    int dropped_bits = 0;         ///< low bits that tell nothing: 0, or copies of the upper ones
    bool has_empty_byte = false;  ///< of words: the lower 8 bits are 0 throughout
    int upper_shift = 0;          ///< a shift by it leaves the 8 highest bits that are used
    std::int64_t reach = 0;       ///< bytes of the window for which the phase holds
    double bits_per_byte = 8;     ///< with this phase throughout
    double coding_bits = 8;       ///< with the best phase at each place: padded rows change it
};

/// Tries every phase of a coding: `phases` is 1 where the first group is known to be at `first`.
std::vector<CodingFit> fit_coding(const Coding& coding, std::span<const std::uint8_t> window,
                                  std::int64_t first, std::int64_t phases);

}  // namespace frames
