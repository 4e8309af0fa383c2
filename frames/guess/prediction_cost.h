#pragma once

#include "guess/coding_fit.h"

#include <cstdint>
#include <span>

namespace frames {

/// One way to read the bytes: where rows begin and what their bytes mean.
struct Hypothesis {
    const CodingFit* fit = nullptr;
    bool is_mosaic = false;
    std::int64_t width = 0;
    std::int64_t pitch_bits = 0;  ///< from row to row
    std::int64_t start = 0;       ///< bytes before the first row

    /// Rows, and pixels, from a sample to the next one of the same colour.
    std::int64_t color_period() const { return is_mosaic ? 2 : 1; }
};

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
