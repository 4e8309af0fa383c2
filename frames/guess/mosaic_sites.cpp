#include "guess/mosaic_sites.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace frames {
namespace {

constexpr std::int64_t kBlock = 16;
constexpr std::int64_t kRowsOfBlocks = 20;
constexpr std::int64_t kWidestSample = 1024;
// Bits per byte against what the sites do not show: a mosaic that is taken for grey, or grey that
// is taken for a mosaic.
constexpr double kMissed = 0.5, kProbablyMissed = 0.12, kNone = 0.3;

/// Samples of a block by their place in cells of 4x4.
using Block = std::array<double, 16>;

/// Evenly spread blocks of the picture.
std::vector<Block> blocks_of(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    const auto& fit = *hypothesis.fit;
    const auto end = 8 * std::min(static_cast<std::int64_t>(window.size()), fit.reach);
    const auto rows = (end - 8 * hypothesis.start) / hypothesis.pitch_bits;
    const auto width = std::min(hypothesis.width, kWidestSample);
    const auto across = static_cast<std::size_t>(width / kBlock);
    const auto down = rows / kBlock, taken = std::min(down, kRowsOfBlocks);
    // Groups of all codings are whole at multiples of 8 pixels.
    const auto from = fit.coding.row_bits((hypothesis.width - width) / 2 / 8 * 8);
    std::vector<Block> blocks;
    RowSamples row;
    for (std::int64_t i = 0; i < taken; ++i) {
        std::vector<Block> line(across);
        for (std::int64_t y = 0; y < kBlock; ++y) {
            const auto bit = 8 * hypothesis.start + from +
                             (i * down / taken * kBlock + y) * hypothesis.pitch_bits;
            split_row(fit.coding, window.data(), bit, width, fit.dropped_bits, row);
            for (std::size_t x = 0; x < across * kBlock; ++x)
                line[x / kBlock][static_cast<std::size_t>(y) % 4 * 4 + x % 4] += row.planes[0][x];
        }
        blocks.insert(blocks.end(), line.begin(), line.end());
    }
    return blocks;
}

/// The sum over a block of a pattern of 4x4 signs; a set bit of `signs` is a minus.
double pattern(const Block& block, unsigned signs) {
    double sum = 0;
    for (std::size_t i = 0; i < block.size(); ++i)
        sum += (signs >> i & 1) != 0 ? -block[i] : block[i];
    return sum;
}

constexpr std::array<unsigned, 3> kOfTwo{0xAAAA, 0xF0F0, 0x5A5A};
constexpr std::array<unsigned, 3> kOfFour{0xCCCC, 0xFF00, 0x33CC};
constexpr unsigned kDiagonals = 0x5A5A;

/// The mean of the differences of the diagonals, in standard errors of that mean.
double diagonals_of(const std::vector<Block>& blocks) {
    double sum = 0, squares = 0;
    for (const auto& block : blocks) {
        const auto value = pattern(block, kDiagonals);
        sum += value;
        squares += value * value;
    }
    const auto count = static_cast<double>(blocks.size());
    const auto variance = squares / count - sum * sum / count / count;
    return variance > 0 ? std::abs(sum) / std::sqrt(variance * count) : sum != 0 ? 100 : 0;
}

}  // namespace

double MosaicSites::certainty() const {
    const auto larger = std::max(of_falling(), of_rising());
    return larger > 0 ? std::abs(of_falling() - of_rising()) / larger : 0;
}

double MosaicSites::of_falling() const { return falling / std::max(1.0, sums[0] + sums[3]); }
double MosaicSites::of_rising() const { return rising / std::max(1.0, sums[1] + sums[2]); }

double MosaicSites::against_green(bool first) const {
    constexpr double kUneven = 0.6, kDim = 0.5;
    const auto green = first ? sums[0] + sums[3] : sums[1] + sums[2];
    const auto other = first ? sums[1] + sums[2] : sums[0] + sums[3];
    const auto dimness = other > green ? (other - green) / other : 0;
    return kDim * dimness + (first == (of_falling() < of_rising()) ? 0 : kUneven * certainty());
}

bool MosaicSites::green_first() const { return against_green(true) < against_green(false); }

imgcnv_bayer_order MosaicSites::likeliest_order() const {
    if (green_first()) return sums[1] > sums[2] ? IMGCNV_ORDER_GR : IMGCNV_ORDER_GB;
    return sums[0] >= sums[3] ? IMGCNV_ORDER_RG : IMGCNV_ORDER_BG;
}

/// Where nothing else differs, all samples of grey are one number, and so are both greens.
double MosaicSites::against_flat(bool is_mosaic) const {
    if (is_mosaic) return std::min(falling, rising) > 0 ? kNone : 0;
    return falling + rising > 0 || sums[0] != sums[1] ? kMissed : 0;
}

double MosaicSites::against(bool is_mosaic) const {
    constexpr double kSure = 6, kFaint = 4;
    constexpr double kStrong = 1.25, kUneven = 0.3;
    if (is_flat) return against_flat(is_mosaic);
    if (is_mosaic) return !has_green || (strength < 1 && diagonals < kFaint) ? kNone : 0;
    if (!has_green) return 0;
    // Slopes make the diagonals of grey uneven too, and sites four apart even more so.
    if (strength > kStrong && certainty() > kUneven) return kMissed;
    return diagonals > kSure ? kMissed : strength > 2 ? kProbablyMissed : 0;
}

MosaicSites mosaic_sites(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    MosaicSites sites;
    const auto blocks = blocks_of(window, hypothesis);
    if (blocks.empty()) return sites;
    double of_two = 0, of_four = 0, in_rows = 0, in_columns = 0;
    for (const auto& block : blocks) {
        for (const auto signs : kOfTwo) of_two += std::abs(pattern(block, signs));
        for (const auto signs : kOfFour) of_four += std::abs(pattern(block, signs));
        double mean[4] = {};
        for (std::size_t i = 0; i < block.size(); ++i) mean[i / 4 % 2 * 2 + i % 2] += block[i];
        for (std::size_t i = 0; i < 4; ++i) sites.sums[i] += mean[i];
        sites.falling += std::abs(mean[0] - mean[3]);
        sites.rising += std::abs(mean[1] - mean[2]);
        in_rows += std::abs(mean[0] - mean[1]) + std::abs(mean[2] - mean[3]);
        in_columns += std::abs(mean[0] - mean[2]) + std::abs(mean[1] - mean[3]);
    }
    sites.strength = of_four > 0 ? of_two / of_four : of_two > 0 ? 10 : 1;
    sites.diagonals = diagonals_of(blocks);
    sites.is_flat = blocks.size() > 1 && of_four <= 0 &&
                    std::all_of(blocks.begin(), blocks.end(),
                                [&](const Block& block) { return block == blocks.front(); });
    // Sites next to each other differ in a mosaic; U and V between lumas only differ along rows.
    sites.has_green = std::min(sites.falling, sites.rising) <= std::min(in_rows, in_columns);
    return sites;
}

}  // namespace frames
