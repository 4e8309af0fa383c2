#include "guess/usual_placements.h"

#include "guess/metadata.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace frames {
namespace {

// In bits per byte of the file, like prediction costs: a hundredth settles ties only.
constexpr double kUsualHeader = 0.03;  // of 256, 512, 1024 ... bytes
constexpr double kOtherHeader = 0.12;  // rarer than bytes behind the last frame
constexpr double kShortHeader = 0.14;
constexpr std::int64_t kShortestUsualHeader = 256;
constexpr double kLeftOver = 0.08;
constexpr double kLeftOverOfKnown = 0.1;  // where the height is given
constexpr double kMuchLeftOver = 0.2;
constexpr double kGap = 0.02;
constexpr double kUnusualGap = 0.03;
constexpr double kForeignGap = 0.15;
constexpr double kNoLastGap = 0.02;
constexpr double kManyFrames = 0.02;
constexpr double kPerDoubledFrames = 0.02;  // small frames fill many files by chance
constexpr double kKnownSize = -0.12;
constexpr double kFillsFile = -0.06;      // frames of a known size and nothing else
constexpr double kOddProportions = 0.03;  // no sensor is five times wider than high
constexpr double kPortrait = 0.015;       // sensors are wider than high
constexpr double kOddHeight = 0.01;

constexpr std::array<std::int64_t, 14> kUsualLengths{16,  32,  48,  64,   80,   96,   128,
                                                     192, 256, 512, 1024, 2048, 4096, 8192};

bool is_usual(std::int64_t bytes) {
    return std::find(kUsualLengths.begin(), kUsualLengths.end(), bytes) != kUsualLengths.end();
}

/// Chunk data are a few kilobytes at most, in words of 4 bytes.
bool is_chunk(std::int64_t bytes) { return bytes % 4 == 0 && bytes <= kLongestHeader; }

double against_header(std::int64_t skip) {
    if (skip == 0) return 0;
    if (skip < kShortestUsualHeader) return kShortHeader;
    return is_usual(skip) ? kUsualHeader : kOtherHeader;
}

double against_left_over(std::int64_t left_over, std::int64_t frame, bool is_height_known) {
    if (left_over == 0) return 0;
    if (left_over > kLongestHeader || 4 * left_over >= frame) return kMuchLeftOver;
    return is_height_known ? kLeftOverOfKnown : kLeftOver;
}

double against_gap(std::int64_t gap) {
    if (gap == 0) return 0;
    return kGap + (is_usual(gap) ? 0 : is_chunk(gap) ? kUnusualGap : kForeignGap);
}

double against_proportions(std::int64_t width, std::int64_t height) {
    const auto proportion = static_cast<double>(width) / static_cast<double>(height);
    const auto beyond = std::max(proportion / 3, 0.6 / proportion);
    double penalty = beyond > 1 ? kOddProportions * (1 + std::log2(beyond)) : 0;
    if (proportion < 1) penalty += kPortrait;
    if (height % 2 != 0) penalty += kOddHeight;
    return penalty;
}

double in_favour_of_known_size(const Placement& placement) {
    const bool has_usual_header = placement.skip == 0 || is_usual(placement.skip);
    const bool fills = has_usual_header && placement.left_over == 0 && placement.gap == 0;
    return fills ? kKnownSize + kFillsFile : kKnownSize;
}

}  // namespace

std::span<const std::int64_t> usual_lengths() { return kUsualLengths; }

void weigh_usualness(Placement& placement, const Hypothesis& hypothesis, const imgcnv_frame& known,
                     std::int64_t size) {
    const auto frame = frame_bytes(hypothesis.pitch_bits, placement.height);
    const auto behind = size - placement.skip - placement.frames * frame;
    const auto gaps = placement.frames * placement.gap;
    placement.left_over = std::max<std::int64_t>(0, behind - gaps);
    placement.skip_penalty = known.skip < 0 ? against_header(placement.skip) : 0;
    placement.left_over_penalty = against_left_over(placement.left_over, frame, known.height > 0);
    double& penalty = placement.penalty;
    penalty += placement.skip_penalty + placement.left_over_penalty;
    if (gaps > 0 && behind < gaps) penalty += kNoLastGap;
    penalty += against_gap(placement.gap);
    if (placement.frames > 1)
        penalty +=
            kManyFrames + kPerDoubledFrames * std::log2(static_cast<double>(placement.frames));
    if (placement.has_known_size)
        penalty += in_favour_of_known_size(placement);
    else if (known.height == 0)
        penalty += against_proportions(hypothesis.width, placement.height);
}

}  // namespace frames
