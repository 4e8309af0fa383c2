#pragma once

#include "guess/byte_source.h"
#include "guess/prediction_cost.h"

#include <cstdint>
#include <vector>

namespace frames {

/// How far rows are from the rows above them. Where a header ends or a frame begins, most samples
/// of a row are far from those above; along edges within a picture only some are.
class RowSteps {
  public:
    RowSteps(ByteSource& source, std::span<const std::uint8_t> window,
             const Hypothesis& hypothesis);

    /// Median difference between the samples of two rows that begin at these bits of the file; -1
    /// where the file does not hold both.
    double step(std::int64_t above_bit, std::int64_t row_bit);
    /// What 9 of 10 rows of the picture stay below, and the mean row.
    double usual() const { return usual_; }
    double mean() const { return mean_; }
    bool is_jump(double step) const { return step > 4 * usual_ + least_; }

    /// The column at which the samples stop to follow from those to the left, since rows begin
    /// there; -1 where no column stands out. `start`: the byte of the file at which column 0 would
    /// be; `rows`: how many follow at most.
    std::int64_t seam(std::int64_t start, std::int64_t rows);

  private:
    bool load(std::int64_t bit, std::vector<int>& samples);

    ByteSource& source_;
    std::span<const std::uint8_t> window_;
    const Hypothesis& hypothesis_;
    std::int64_t row_bits_;
    double usual_ = 0, mean_ = 0, least_ = 2;
    std::vector<std::uint8_t> room_;
    RowSamples row_;
    std::vector<int> above_, below_;
};

}  // namespace frames
