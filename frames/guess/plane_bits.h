#pragma once

#include "guess/coding_fit.h"
#include "guess/error_bits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// The bits of samples that are coded without their neighbours: the entropy of their upper bits,
/// and all bits below as they are. It counts where nothing predicts samples but some values are
/// more frequent, as in noise. Differences of colours are not coded so.
class PlainBits {
  public:
    explicit PlainBits(const CodingFit& fit);

    void add_row(std::span<const int> row);
    double bits() const;

  private:
    static constexpr int kUpper = 6, kValues = 1 << kUpper, kBitsOfRare = 16;
    std::array<std::uint32_t, kValues> counts_{};
    std::int64_t low_bits_ = 0;
    int shift_ = 0;
    bool has_negative_ = false;
};

/// One kind of samples, by whatever predicts them best.
class PlaneBits {
  public:
    PlaneBits(const CodingFit& fit, std::size_t step, int directions);

    void add_row(std::span<const int> row, std::span<const int> above);
    /// The edges of rows have no neighbours to compare with and count like the rest.
    double bits() const;

  private:
    std::size_t step_;
    int directions_;
    std::vector<ErrorBits> slanted_;
    ErrorBits mean_;
    PlainBits plain_;
    double all_ = 0, edges_ = 0, edges_of_mean_ = 0;  // samples
};

/// The bits of all kinds of samples: colours count as what takes fewer, the colours themselves or
/// their differences to green, which are smoother unless noise is stronger than the picture.
double sum_of_planes(const RowSamples& row, const std::array<double, kPlanes>& bits);

}  // namespace frames
