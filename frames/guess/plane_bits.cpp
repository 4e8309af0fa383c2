#include "guess/plane_bits.h"

#include "guess/entropy.h"

#include <algorithm>
#include <limits>

namespace frames {

PlainBits::PlainBits(const CodingFit& fit)
    : shift_(fit.coding.is_deep() ? fit.upper_shift + 8 - kUpper - fit.dropped_bits
                                  : fit.coding.format->depth - kUpper) {
    shift_ = std::max(0, shift_);
}

void PlainBits::add_row(std::span<const int> row) {
    for (const int sample : row) {
        has_negative_ |= sample < 0;
        const int upper = std::clamp(sample >> shift_, 0, kValues - 1);
        if (sample >> shift_ > upper) low_bits_ += kBitsOfRare;
        ++counts_[static_cast<std::size_t>(upper)];
    }
    low_bits_ += shift_ * static_cast<std::int64_t>(row.size());
}

double PlainBits::bits() const {
    if (has_negative_) return std::numeric_limits<double>::infinity();
    return static_cast<double>(low_bits_) + entropy_bits(counts_);
}

PlaneBits::PlaneBits(const CodingFit& fit, std::size_t step, int directions)
    : step_(step),
      directions_(directions),
      slanted_(static_cast<std::size_t>(2 * directions + 1)),
      plain_(fit) {}

void PlaneBits::add_row(std::span<const int> row, std::span<const int> above) {
    const auto margin = static_cast<std::size_t>(directions_);
    for (int aside = -directions_; aside <= directions_; ++aside)
        slanted_[static_cast<std::size_t>(aside + directions_)].add_row(
            row, above, step_, margin, aside * static_cast<int>(step_));
    mean_.add_row_of_noise(row, above, step_, std::max<std::size_t>(1, margin));
    plain_.add_row(row);
    all_ += static_cast<double>(row.size());
    const auto edges = step_ * (2 * margin + 1),
               of_mean = step_ * (2 * std::max<std::size_t>(1, margin) + 1);
    edges_ += static_cast<double>(std::min(row.size(), edges));
    edges_of_mean_ += static_cast<double>(std::min(row.size(), of_mean));
}

double PlaneBits::bits() const {
    constexpr double kUpright = 0.25;
    const auto whole = [&](double bits, double edges) {
        return bits * all_ / std::max(1.0, all_ - edges);
    };
    double best = slanted_.front().bits();
    for (const auto& direction : slanted_) best = std::min(best, direction.bits());
    // Most pictures stand upright, whatever direction their edges have.
    const double upright = slanted_[static_cast<std::size_t>(directions_)].bits();
    return std::min({whole(best + kUpright * (upright - best), edges_),
                     whole(mean_.bits(), edges_of_mean_), plain_.bits()});
}

double sum_of_planes(const RowSamples& row, const std::array<double, kPlanes>& bits) {
    const auto colour = [&](std::size_t difference, std::size_t itself) {
        return row.planes[itself].empty() ? bits[difference]
                                          : std::min(bits[difference], bits[itself]);
    };
    return bits[0] + colour(1, 4) + colour(2, 5) + bits[3];
}

}  // namespace frames
