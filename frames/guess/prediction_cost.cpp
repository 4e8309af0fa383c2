#include "guess/prediction_cost.h"

#include "guess/error_bits.h"
#include "guess/metadata.h"
#include "guess/pixel_bits.h"
#include "guess/plane_bits.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace frames {
namespace {

constexpr double kImpossible = 9;
constexpr double kFewForeign = 0.02;  // of the groups: headers and chunks have such bytes
constexpr std::int64_t kLongestPiece = 160, kPieceUnit = 8;  // pixels of a row
constexpr std::int64_t kFewestPieces = 16;
// Cameras and drivers fill up rows with zeros, seldom with what was there before, never with noise.
constexpr double kMostOfPadding = 1, kNoisyPadding = 0.1;  // bits per byte
constexpr double kFewFilled = 0.02, kFilledPadding = 0.08, kFilledRow = 0.3;

}  // namespace

double prediction_cost(std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
                       std::int64_t samples, int directions) {
    const auto& coding = hypothesis.fit->coding;
    const std::int64_t step = hypothesis.is_mosaic ? 2 : 1;
    const auto used = coding.row_bits(hypothesis.width);
    const auto pitch = hypothesis.pitch_bits;
    const auto bits =
        8 * (std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach) -
             hypothesis.start);
    if (used > pitch || bits < used) return 8;
    const auto rows = (bits - used) / pitch + 1;
    if (rows <= step || hypothesis.width <= (2 * directions + 1) * step) return 8;

    // Pieces of rows from places that are the same for all hypotheses, so that all are weighed with
    // the same part of the picture.
    const auto pixels_taken = std::min(hypothesis.width, kLongestPiece);
    const auto pieces = std::max(kFewestPieces, samples / pixels_taken);
    std::vector<PlaneBits> planes;
    for (std::size_t i = 0; i < kPlanes; ++i)
        planes.emplace_back(*hypothesis.fit, static_cast<std::size_t>(step),
                            i == 0 ? directions : 0);
    ErrorBits beyond;
    const bool has_few_bits = coding.format->depth <= 4;
    PixelBits pixels(has_few_bits ? coding.format->depth : 1);
    RowSamples row, above;
    std::int64_t counted = 0, foreign = 0, beyond_taken = 0, beyond_all = 0, filled = 0, groups = 0;
    // Behind a header, and before bytes between frames may have moved the groups.
    const auto first_foreign = 8 * hypothesis.start + std::min(8 * kLongestHeader, bits / 4);
    const bool has_unused =
        coding.format->layout == IMGCNV_LAYOUT_PACKED && coding.format->depth == 10;
    const auto place = [&](std::int64_t y) { return 8 * hypothesis.start + y * pitch; };
    const auto add_piece = [&](std::int64_t y, std::int64_t x, std::int64_t count) {
        const auto from = place(y) + coding.row_bits(x);
        const auto dropped = hypothesis.fit->dropped_bits;
        split_row(coding, window.data(), from, count, dropped, row);
        split_row(coding, window.data(), from - step * pitch, count, dropped, above);
        if (has_unused && from >= first_foreign && from < first_foreign + bits / 6)
            for (std::int64_t i = 1; i + 1 < count * 3 / 2; i += 3, ++groups)
                foreign += (window[static_cast<std::size_t>(from / 8 + i)] & 0xCC) != 0;
        if (has_few_bits) return pixels.add_row(row.planes[0], above.planes[0]);
        for (std::size_t i = 0; i < kPlanes; ++i)
            if (!row.planes[i].empty()) planes[i].add_row(row.planes[i], above.planes[i]);
    };
    for (; counted < pieces; ++counted) {
        // The golden ratio spreads places evenly without a period that rows could share.
        const auto part = 0.618033988749895 * static_cast<double>(counted);
        const auto bit =
            static_cast<std::int64_t>((part - std::floor(part)) * static_cast<double>(bits));
        const auto y = std::clamp(bit / pitch, step, rows - 1);
        // Pieces go on in the next row, so that no column counts more than others.
        const auto from = bit % pitch * hypothesis.width / pitch / kPieceUnit * kPieceUnit;
        const auto in_first = std::min(pixels_taken, hypothesis.width - from);
        add_piece(y, from, in_first);
        if (in_first < pixels_taken)
            add_piece(y + 1 < rows ? y + 1 : step, 0, pixels_taken - in_first);
        // Of long paddings a part that moves from row to row.
        const auto first = (place(y) + used + 7) / 8;
        const auto end = std::min((place(y) + pitch) / 8, bits / 8 + hypothesis.start);
        const auto taken = std::min(end - first, kLongestPiece);
        const auto skipped = taken > 0 ? counted * kLongestPiece % (end - first - taken + 1) : 0;
        for (auto at = first + skipped; at < first + skipped + taken; ++at) {
            const auto over = at - step * pitch / 8;
            filled += window[static_cast<std::size_t>(at)] != 0;
            beyond.add(static_cast<std::int8_t>(window[static_cast<std::size_t>(at)] -
                                                window[static_cast<std::size_t>(over)]),
                       0);
        }
        beyond_taken += std::max<std::int64_t>(0, taken);
        beyond_all += std::max<std::int64_t>(0, end - first);
    }
    if (static_cast<double>(foreign) > 2 * kFewForeign * static_cast<double>(groups))
        return kImpossible;
    std::array<double, kPlanes> bits_of_planes{};
    for (std::size_t i = 0; i < kPlanes; ++i) bits_of_planes[i] = planes[i].bits();
    double sum = sum_of_planes(row, bits_of_planes) + pixels.bits();
    sum *= static_cast<double>(hypothesis.width) / static_cast<double>(pixels_taken);
    double against_padding = 0;
    if (beyond_taken > 0) {
        const auto per_byte = beyond.bits() / static_cast<double>(beyond_taken);
        sum += per_byte * static_cast<double>(beyond_all);
        if (per_byte > kMostOfPadding) against_padding = kNoisyPadding;
        if (static_cast<double>(filled) > kFewFilled * static_cast<double>(beyond_taken))
            against_padding += 2 * (pitch - used) > used ? kFilledRow : kFilledPadding;
    }
    // A coder that finds nothing to predict writes the bytes as they are.
    return std::min(8.0, sum / (static_cast<double>(counted * pitch) / 8)) + against_padding;
}

}  // namespace frames
