#include "guess/green_sites.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace frames {
namespace {

constexpr std::int64_t kSampledRows = 200;

}  // namespace

double GreenSites::certainty() const {
    const auto larger = std::max(falling, rising);
    return larger > 0 ? std::abs(falling - rising) / larger : 0;
}

imgcnv_bayer_order GreenSites::likeliest_order() const {
    if (green_first()) return sums[1] > sums[2] ? IMGCNV_ORDER_GR : IMGCNV_ORDER_GB;
    return sums[0] >= sums[3] ? IMGCNV_ORDER_RG : IMGCNV_ORDER_BG;
}

GreenSites green_sites(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    GreenSites sites;
    double sum[2] = {}, count[2] = {};
    const auto& fit = *hypothesis.fit;
    const auto used = fit.coding.row_bits(hypothesis.width);
    const auto bits =
        8 * (std::min(static_cast<std::int64_t>(window.size()), fit.reach) - hypothesis.start);
    const auto rows = bits < used ? 0 : (bits - used) / hypothesis.pitch_bits + 1;
    const auto stride = std::max<std::int64_t>(1, rows / kSampledRows) | 1;
    RowSamples lines[3];
    for (std::int64_t y = 1; y + 1 < rows && hypothesis.width > 2; y += stride) {
        for (std::int64_t i = 0; i < 3; ++i)
            split_row(fit.coding, window.data(),
                      8 * hypothesis.start + (y - 1 + i) * hypothesis.pitch_bits, hypothesis.width,
                      fit.dropped_bits, lines[i]);
        const auto &above = lines[0].planes[0], &row = lines[1].planes[0],
                   &below = lines[2].planes[0];
        for (std::size_t x = 1; x + 1 < row.size(); ++x) {
            const int around = above[x - 1] + above[x + 1] + below[x - 1] + below[x + 1];
            const auto diagonal = (x + static_cast<std::size_t>(y)) % 2;
            sum[diagonal] += std::abs(4 * row[x] - around) / 4.0;
            ++count[diagonal];
            sites.sums[static_cast<std::size_t>(y) % 2 * 2 + x % 2] += row[x];
        }
    }
    sites.falling = count[0] > 0 ? sum[0] / count[0] : 0;
    sites.rising = count[1] > 0 ? sum[1] / count[1] : 0;
    return sites;
}

double mosaic_strength(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    constexpr std::int64_t kBlock = 32, kBlocks = 6;
    const auto& fit = *hypothesis.fit;
    const auto bits =
        8 * (std::min(static_cast<std::int64_t>(window.size()), fit.reach) - hypothesis.start);
    const auto rows = bits / hypothesis.pitch_bits;
    const auto across = hypothesis.width / kBlock, down = rows / kBlock;
    if (across == 0 || down == 0) return 1;
    double of_two = 0, of_four = 0;
    RowSamples row;
    std::vector<double> sums(static_cast<std::size_t>(across) * 6);
    for (std::int64_t i = 0; i < std::min(down, kBlocks); ++i) {
        std::fill(sums.begin(), sums.end(), 0);
        for (std::int64_t y = 0; y < kBlock; ++y) {
            const auto at =
                (i * down / std::min(down, kBlocks) * kBlock + y) * hypothesis.pitch_bits;
            split_row(fit.coding, window.data(), 8 * hypothesis.start + at, hypothesis.width,
                      fit.dropped_bits, row);
            const bool second_y = y % 2 != 0, third_y = y % 4 >= 2;
            for (std::int64_t x = 0; x < across * kBlock; ++x) {
                auto* sum = &sums[static_cast<std::size_t>(x / kBlock) * 6];
                const double value = row.planes[0][static_cast<std::size_t>(x)];
                const bool second_x = x % 2 != 0, third_x = x % 4 >= 2;
                sum[0] += second_x ? -value : value;
                sum[1] += second_y ? -value : value;
                sum[2] += second_x != second_y ? -value : value;
                sum[3] += third_x ? -value : value;
                sum[4] += third_y ? -value : value;
                sum[5] += third_x != third_y ? -value : value;
            }
        }
        for (std::size_t at = 0; at < sums.size(); at += 6) {
            for (std::size_t k = 0; k < 3; ++k) of_two += std::abs(sums[at + k]);
            for (std::size_t k = 3; k < 6; ++k) of_four += std::abs(sums[at + k]);
        }
    }
    return of_four > 0 ? of_two / of_four : of_two > 0 ? 10 : 1;
}

double against_yuv(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    const auto& fit = *hypothesis.fit;
    const auto rows =
        8 * (std::min(static_cast<std::int64_t>(window.size()), fit.reach) - hypothesis.start) /
        hypothesis.pitch_bits;
    const auto stride = std::max<std::int64_t>(1, rows / 64);
    constexpr double kQuietLuma = 0.2, kFarFromGrey = 0.15, kGrey = -0.05;
    double steps[3] = {}, sums[3] = {}, counts[3] = {};
    RowSamples row;
    for (std::int64_t y = 0; y < rows; y += stride) {
        split_row(fit.coding, window.data(), 8 * hypothesis.start + y * hypothesis.pitch_bits,
                  hypothesis.width, 0, row);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto& plane = row.planes[i];
            double sum = 0;
            for (std::size_t x = 1; x < plane.size(); ++x) {
                sum += std::abs(plane[x] - plane[x - 1]);
                sums[i] += plane[x];
                ++counts[i];
            }
            steps[i] += plane.size() > 1 ? sum / static_cast<double>(plane.size() - 1) : 0;
        }
    }
    if (std::max(steps[1], steps[2]) > steps[0]) return kQuietLuma;
    const auto distance = [&](std::size_t i) {
        return counts[i] > 0 ? std::abs(sums[i] / counts[i] - 128) : 0;
    };
    const auto farther = std::max(distance(1), distance(2));
    return farther > 40 ? kFarFromGrey : farther < 12 ? kGrey : 0;
}

}  // namespace frames
