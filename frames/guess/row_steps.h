#pragma once

#include "guess/byte_source.h"
#include "guess/prediction_cost.h"

#include <cstdint>
#include <vector>

namespace frames {

/// The difference between the samples of two rows; negative where the file does not hold both.
struct RowStep {
    double median = -1;
    double mean = -1;
    double shift = 0;  ///< between the means of the rows

    bool is_known() const { return median >= 0; }
};

/// How far rows are from the rows above them. Where a header ends or a frame begins, most samples
/// of a row are far from those above; along edges within a picture only some are.
class RowSteps {
  public:
    RowSteps(ByteSource& source, std::span<const std::uint8_t> window,
             const Hypothesis& hypothesis);

    /// Of the rows that begin at these bits of the file; `pixels`: of so many, 0 of all.
    RowStep step(std::int64_t above_bit, std::int64_t row_bit, std::int64_t pixels = 0);
    /// The mean step of the picture's rows, and what 49 of 50 stay below.
    double mean() const { return mean_; }
    double nearly_all() const { return nearly_all_; }
    /// Whether most samples change more than they do from row to row of the picture.
    bool is_jump(const RowStep& step) const { return step.median > 4 * usual_median_ + least_; }

    /// Whether the rows' brightness changes more than it does within the picture.
    bool is_shift(const RowStep& step) const {
        return step.shift > 3 * largest_shift_ + least_shift_;
    }

    /// The column at which the samples stop to follow from those to the left, since rows begin
    /// there; -1 where no column stands out. `start`: the byte of the file at which column 0 would
    /// be; `rows`: how many follow at most.
    std::int64_t seam(std::int64_t start, std::int64_t rows);

  private:
    std::vector<double> steps_of_columns(std::int64_t start, std::int64_t rows, double& counted);
    bool load(std::int64_t bit, std::int64_t pixels, std::vector<int>& samples);

    ByteSource& source_;
    std::span<const std::uint8_t> window_;
    const Hypothesis& hypothesis_;
    std::int64_t row_bits_;
    double usual_median_ = 0, mean_ = 0, nearly_all_ = 0, least_ = 2;
    double largest_shift_ = 0, least_shift_ = 0;
    std::vector<std::uint8_t> room_;
    RowSamples row_;
    std::vector<int> above_, below_;
};

}  // namespace frames
