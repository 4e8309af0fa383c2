#include "guess/padding.h"

#include "guess/metadata.h"

#include <algorithm>
#include <array>

namespace frames {

std::vector<ConstantColumns> constant_columns(std::span<const std::uint8_t> window,
                                              std::int64_t pitch) {
    constexpr std::int64_t kRows = 64, kShortestRun = 3;
    constexpr std::size_t kRuns = 2;
    const auto rows = static_cast<std::int64_t>(window.size()) / pitch;
    if (rows < 8) return {};
    // Headers are in the first rows.
    const auto first = std::min(rows / 4, kLongestHeader / pitch + 1);
    const auto stride = std::max<std::int64_t>(1, (rows - first) / kRows);
    const auto* base = window.data() + first * pitch;
    constexpr int kChanging = -1;
    std::vector<int> values(base, base + pitch);
    for (std::int64_t y = stride; y < rows - first; y += stride)
        for (std::int64_t x = 0; x < pitch; ++x)
            if (base[y * pitch + x] != base[x]) values[static_cast<std::size_t>(x)] = kChanging;
    const auto value = [&](std::int64_t x) { return values[static_cast<std::size_t>(x % pitch)]; };
    std::vector<ConstantColumns> runs;
    for (std::int64_t x = 0; x < pitch; ++x) {
        if (value(x) == kChanging || value(x) == value(x + pitch - 1)) continue;
        std::int64_t count = 1;
        while (count < pitch && value(x + count) == value(x)) ++count;
        // Where many columns hold one value, as the high bytes of dark words do, it says nothing.
        const auto all = std::count(values.begin(), values.end(), value(x));
        if (count >= kShortestRun && 16 * (all - count) <= pitch)
            runs.push_back({value(x) == 0, x, count});
    }
    std::stable_sort(runs.begin(), runs.end(),
                     [](const auto& a, const auto& b) { return a.count > b.count; });
    if (runs.size() > kRuns) runs.resize(kRuns);
    return runs;
}

namespace {

constexpr std::int64_t kRows = 64, kGroup = 8, kMost = 64;

/// Of the last pixels of a row, from `first` on: in how many of kRows rows each is not 0.
std::array<std::int64_t, kMost + kGroup> filled_pixels(std::span<const std::uint8_t> window,
                                                       const Hypothesis& hypothesis,
                                                       std::int64_t skip, std::int64_t rows,
                                                       std::int64_t first) {
    const auto& coding = hypothesis.fit->coding;
    const auto pixels = hypothesis.width - first;
    const auto step = static_cast<std::size_t>(channels(*coding.format));
    std::array<std::int64_t, kMost + kGroup> filled{};
    RowSamples samples;
    for (std::int64_t i = 0; i < kRows; ++i) {
        const auto bit =
            8 * skip + rows * i / kRows * hypothesis.pitch_bits + coding.row_bits(first);
        split_row(coding, window.data(), bit, pixels, 0, samples);
        for (std::size_t x = 0; x < static_cast<std::size_t>(pixels); ++x) {
            const auto pixel = std::span(samples.words).subspan(x * step, step);
            filled[x] += std::any_of(pixel.begin(), pixel.end(), [](int v) { return v != 0; });
        }
    }
    return filled;
}

}  // namespace

std::int64_t width_without_padding(std::span<const std::uint8_t> window,
                                   const Hypothesis& hypothesis, const Placement& placement) {
    constexpr double kSharp = 0.9, kSharpOfFewBits = 0.1;
    const auto start = placement.skip;
    const auto& fit = *hypothesis.fit;
    const auto row = fit.coding.row_bits(hypothesis.width), pitch = hypothesis.pitch_bits;
    const auto first = std::max<std::int64_t>(0, hypothesis.width - kMost) / kGroup * kGroup;
    const auto pixels = hypothesis.width - first;
    const auto end = 8 * std::min(static_cast<std::int64_t>(window.size()), fit.reach);
    const auto rows = std::min((end - 8 * start - row) / pitch, placement.height);
    if (is_yuv(*fit.coding.format) || pitch % 8 != 0 || rows < kRows ||
        hypothesis.width < 4 * kMost)
        return hypothesis.width;
    const auto filled = filled_pixels(window, hypothesis, start, rows, first);
    auto last = pixels;
    while (last > 0 && filled[static_cast<std::size_t>(last - 1)] == 0) --last;
    if (last == pixels || last == 0) return hypothesis.width;
    const auto padding = pixels - last;
    const auto width = hypothesis.width - padding;
    const bool fills_group =
        padding < kGroup && (pitch != row || fit.coding.row_bits(width) == row);
    const double sharp = fit.coding.format->depth < 8 ? kSharpOfFewBits : kSharp;
    const bool is_sharp =
        pitch % 32 == 0 &&
        static_cast<double>(filled[static_cast<std::size_t>(last - 1)]) >= sharp * kRows;
    return fills_group || is_sharp ? width : hypothesis.width;
}

}  // namespace frames
