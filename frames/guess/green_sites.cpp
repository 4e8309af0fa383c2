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

}  // namespace frames
