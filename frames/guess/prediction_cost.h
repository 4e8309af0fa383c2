#pragma once

#include "guess/coding.h"

#include <cstdint>
#include <span>

namespace frames {

/// A coding at a place of the file: how well samples are predicted without knowing the width.
struct CodingFit {
    Coding coding;
    std::int64_t phase = 0;  ///< bytes from the window's start to the first whole group
    int dropped_bits = 0;    ///< low bits that follow from the upper 8, as in pictures of 8 bits
    bool has_empty_byte = false;  ///< of words: the lower 8 bits are 0 throughout
    int upper_shift = 0;          ///< leaves the upper 8 bits in use
    std::int64_t reach = 0;       ///< bytes of the window for which the phase holds
    double bits_per_byte = 8;     ///< with this phase throughout
    double coding_bits = 8;       ///< with the best phase at each place: padded rows change it
};

/// One way to read the bytes: where rows begin and what their bytes mean.
struct Hypothesis {
    const CodingFit* fit = nullptr;
    bool is_mosaic = false;
    std::int64_t width = 0;
    std::int64_t pitch_bits = 0;  ///< from row to row
    std::int64_t start = 0;       ///< bytes before the first row

    /// Rows from a sample to the next of the same colour.
    std::int64_t lines() const { return is_mosaic ? 2 : 1; }
};

/// Tries every phase of a coding: `phases` is 1 where the first group is known to be at `first`.
std::vector<CodingFit> fit_coding(const Coding& coding, std::span<const std::uint8_t> window,
                                  std::int64_t first, std::int64_t phases);

/// How many bits a byte of the file takes when every sample is predicted from its neighbours of the
/// same kind to the left and above, as a lossless coder would. The right hypothesis predicts best:
/// a wrong pitch compares pixels that are no neighbours, a wrong layout compares red with green or
/// low bits with high ones. Bytes beyond the pixels of a row count too, so that all hypotheses
/// account for the same bytes. About `samples` samples are looked at. Slanted edges favour a pitch
/// that is a pixel off and lets them stand upright; the best of `directions` to either side takes
/// that advantage away.
double prediction_cost(std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
                       std::int64_t samples, int directions);

}  // namespace frames
