#include "guess/pixel_bits.h"

#include "guess/entropy.h"

#include <algorithm>
#include <limits>

namespace frames {

PixelBits::PixelBits(int depth) : depth_(depth) {
    const auto add = [&](int neighbours) {
        contexts_.push_back({neighbours, Counts(std::size_t{1} << (neighbours + 1) * depth)});
    };
    add(depth <= 2 ? 4 : 2);
    if (depth == 1) add(7);
}

void PixelBits::add_row(std::span<const int> row, std::span<const int> above) {
    for (std::size_t x = kReach; x + kReach < row.size(); ++x)
        add(row[x], {row[x - 1], above[x], above[x - 1], above[x + 1], row[x - 2], above[x + 2],
                     above[x - 2]});
    all_ += static_cast<double>(row.size());
    edges_ += static_cast<double>(std::min(2 * kReach, row.size()));
}

void PixelBits::add_line(std::span<const int> row) {
    for (std::size_t x = kMostNeighbours; x < row.size(); ++x)
        add(row[x],
            {row[x - 1], row[x - 2], row[x - 3], row[x - 4], row[x - 5], row[x - 6], row[x - 7]});
    all_ += static_cast<double>(row.size());
    edges_ += kMostNeighbours;
}

double PixelBits::bits() const {
    double best = std::numeric_limits<double>::infinity();
    const auto values = std::size_t{1} << depth_;
    for (const auto& context : contexts_) {
        double sum = 0;
        for (std::size_t at = 0; at < context.counts.size(); at += values)
            sum += entropy_bits(std::span(context.counts).subspan(at, values));
        best = std::min(best, sum);
    }
    return best * all_ / std::max(1.0, all_ - edges_);
}

void PixelBits::add(int pixel, const std::array<int, kMostNeighbours>& near) {
    auto symbol = static_cast<std::size_t>(pixel);
    int taken = 0;
    for (auto& [neighbours, counts] : contexts_) {
        for (; taken < neighbours; ++taken)
            symbol |= static_cast<std::size_t>(near[static_cast<std::size_t>(taken)])
                      << (taken + 1) * depth_;
        ++counts[symbol];
    }
}

}  // namespace frames
