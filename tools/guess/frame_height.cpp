#include "guess/frame_height.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace tool {
namespace {

// Edges that lie along rows jump twice as far as usual rows; frames jump farther than nearly all
// rows.
constexpr double kClearJump = 2;
constexpr double kRowsBelow = 0.98;
constexpr std::size_t kSampledBytes = 512;

/// Mean difference between each row and the one of the same colours above it. The first rows have
/// none: 0.
std::vector<double> rowJumps(std::span<const std::uint8_t> bytes, const FrameShape& shape) {
    const auto pitch = static_cast<std::size_t>(shape.rowPitch());
    const std::size_t step = shape.format->isBayer() ? 2 : 1;
    const auto rows = static_cast<std::size_t>(shape.height);
    const auto used = std::min(pitch, static_cast<std::size_t>(shape.rowBytes()));
    const auto stride = std::max<std::size_t>(1, used / kSampledBytes) | 1;
    std::vector<double> jumps(rows);
    for (std::size_t y = step; y < rows; ++y) {
        const auto* row = bytes.data() + y * pitch;
        const auto* above = row - step * pitch;
        double sum = 0;
        for (std::size_t x = 0; x < used; x += stride) sum += std::abs(row[x] - above[x]);
        jumps[y] = sum;
    }
    return jumps;
}

double mean(const std::vector<double>& values, std::size_t first, std::size_t step) {
    double sum = 0, count = 0;
    for (auto i = first; i < values.size(); i += step, ++count) sum += values[i];
    return count > 0 ? sum / count : 0;
}

}  // namespace

void splitFrames(std::span<const std::uint8_t> bytes, FrameShape& shape, std::int64_t& frames) {
    frames = 1;
    if (shape.isStream() && shape.width * shape.format->bits % 8 != 0) return;
    const auto jumps = rowJumps(bytes, shape);
    auto sorted = jumps;
    const auto high = static_cast<std::ptrdiff_t>(kRowsBelow * static_cast<double>(sorted.size()));
    std::nth_element(sorted.begin(), sorted.begin() + high, sorted.end());
    double best = std::max(kClearJump * mean(jumps, 0, 1), sorted[static_cast<std::size_t>(high)]);
    auto bestHeight = shape.height;
    for (std::int64_t count = 2; count <= shape.height / 16; ++count) {
        if (shape.height % count != 0) continue;
        const auto height = shape.height / count;
        const auto proportion = static_cast<double>(shape.width) / static_cast<double>(height);
        if (proportion < 0.4 || proportion > 5) continue;
        const auto jump =
            mean(jumps, static_cast<std::size_t>(height), static_cast<std::size_t>(height));
        // Every second jump of the right height jumps as far: the lower height wins.
        if (jump > best || (bestHeight != shape.height && jump > 0.8 * best)) {
            best = std::max(best, jump);
            bestHeight = height;
        }
    }
    frames = shape.height / bestHeight;
    shape.height = bestHeight;
}

}  // namespace tool
