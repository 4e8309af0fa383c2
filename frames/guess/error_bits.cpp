#include "guess/error_bits.h"

#include "guess/entropy.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace frames {
namespace {

int width_of(int value) {
    return static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(value))));
}

int median_prediction(int left, int above, int above_left) {
    return std::max(std::min(left, above),
                    std::min(std::max(left, above), left + above - above_left));
}

}  // namespace

void ErrorBits::add(int error, int unevenness) {
    const int size = std::min(width_of(error), kSizes - 1);
    const int level = std::min(width_of(unevenness), kLevels - 1);
    ++counts_[static_cast<std::size_t>(level)]
             [static_cast<std::size_t>(error < 0 ? kSizes + size : size)];
    if (size > 1) member_bits_ += size - 1;
}

void ErrorBits::add_row_of_noise(std::span<const int> row, std::span<const int> above,
                                 std::size_t step, std::size_t margin) {
    for (auto x = (margin + 1) * step; x + margin * step < row.size(); ++x) {
        const int left = row[x - step], up = above[x], up_left = above[x - step],
                  up_right = above[x + step];
        add(row[x] - (left + up + up_left + up_right + 2) / 4,
            std::abs(left - up_left) + std::abs(up - up_left));
    }
}

void ErrorBits::add_row(std::span<const int> row, std::span<const int> above, std::size_t step,
                        std::size_t margin, int aside) {
    for (auto x = (margin + 1) * step; x + margin * step < row.size(); ++x) {
        const auto over = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(x) + aside);
        const int left = row[x - step], up = above[over], up_left = above[over - step];
        add(row[x] - median_prediction(left, up, up_left),
            std::abs(left - up_left) + std::abs(up - up_left));
    }
}

void ErrorBits::add_line(std::span<const int> row, std::size_t step) {
    for (auto x = 2 * step; x < row.size(); ++x)
        add(row[x] - row[x - step], std::abs(row[x - step] - row[x - 2 * step]));
}

double ErrorBits::bits() const {
    auto sum = static_cast<double>(member_bits_);
    for (const auto& level : counts_) sum += entropy_bits(level);
    return sum;
}

}  // namespace frames
