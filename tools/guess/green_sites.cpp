#include "guess/green_sites.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace tool {
namespace {

constexpr std::size_t kSampledRows = 400;

int sampleAt(const std::uint8_t* row, Layout layout, std::size_t x) {
    switch (layout) {
        case Layout::Words:
            return row[2 * x] | row[2 * x + 1] << 8;
        case Layout::Packed:
            return row[x / 2 * 3 + (x % 2 != 0 ? 2 : 0)];
        default:
            return row[x];
    }
}

}  // namespace

double GreenSites::certainty() const {
    const auto larger = std::max(falling, rising);
    return larger > 0 ? std::abs(falling - rising) / larger : 0;
}

GreenSites greenSites(std::span<const std::uint8_t> bytes, const Reading& reading) {
    std::array<double, 2> sum{}, count{};
    const auto used = rowElements(reading.layout, reading.width);
    if (bytes.size() < used + 2 * reading.pitch || reading.width < 3) return {};
    const auto rows = (bytes.size() - used) / reading.pitch + 1;
    const auto stride = std::max<std::size_t>(1, rows / kSampledRows) | 1;
    for (std::size_t y = 1; y + 1 < rows; y += stride) {
        const auto* row = bytes.data() + y * reading.pitch;
        const auto *above = row - reading.pitch, *below = row + reading.pitch;
        for (std::size_t x = 1; x + 1 < reading.width; ++x) {
            const int around =
                sampleAt(above, reading.layout, x - 1) + sampleAt(above, reading.layout, x + 1) +
                sampleAt(below, reading.layout, x - 1) + sampleAt(below, reading.layout, x + 1);
            const auto diagonal = (x + y) % 2;
            sum[diagonal] += std::abs(4 * sampleAt(row, reading.layout, x) - around) / 4.0;
            ++count[diagonal];
        }
    }
    return {count[0] > 0 ? sum[0] / count[0] : 0, count[1] > 0 ? sum[1] / count[1] : 0};
}

}  // namespace tool
