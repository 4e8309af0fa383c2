#include "guess/channels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace frames {
namespace {

constexpr std::int64_t kSampledRows = 64, kSampledColumns = 512;

constexpr std::size_t kRun = 16;

struct Channel {
    double count = 0, sum = 0, steps = 0, changes = 0;
    unsigned used_bits = 0;
    double runs = 0, run_means = 0, squared_run_means = 0, squared_in_runs = 0;

    void add(const std::vector<int>& plane) {
        for (std::size_t x = 1; x < plane.size(); ++x) {
            sum += plane[x];
            used_bits |= static_cast<unsigned>(plane[x]);
            steps += std::abs(plane[x] - plane[x - 1]);
            changes += plane[x] != plane[x - 1];
        }
        count += plane.empty() ? 0 : static_cast<double>(plane.size() - 1);
        for (std::size_t x = 0; x + kRun <= plane.size(); x += kRun) {
            double of_run = 0;
            for (std::size_t i = x; i < x + kRun; ++i) {
                of_run += plane[i];
                squared_in_runs += static_cast<double>(plane[i]) * plane[i];
            }
            ++runs;
            run_means += of_run / kRun;
            squared_run_means += of_run / kRun * of_run / kRun;
        }
    }
    double mean(double of) const { return count > 0 ? of / count : 0; }
    /// Whether some bits below the highest are never set.
    bool has_unused_bits() const { return (used_bits & (used_bits + 1)) != 0; }
    /// Whether means of neighbours vary more than those of unrelated samples do.
    bool has_picture() const {
        if (runs == 0) return false;
        const auto squares = squared_run_means / runs;
        const auto between = squares - run_means / runs * run_means / runs;
        const auto within = squared_in_runs / runs / kRun - squares;
        return between > 4 * within / kRun;
    }
};

/// Whether a plane follows another one closely, as red follows green.
bool follows(const std::vector<int>& plane, const std::vector<int>& other) {
    double own = 0, difference = 0;
    for (std::size_t x = 1; x < plane.size(); ++x) {
        const int step = plane[x] - plane[x - 1];
        own += std::abs(step);
        difference += std::abs(step - (other[x] - other[x - 1]));
    }
    return difference < 0.8 * own;
}

double against_chroma(const Channel& luma, const Channel& u, const Channel& v) {
    constexpr double kQuietLuma = 0.3, kTinted = 0.15, kNeverSoTinted = 0.6, kNearGrey = -0.05;
    const auto step = [](const Channel& channel) { return channel.mean(channel.steps); };
    const auto from_grey = [](const Channel& channel) {
        return std::abs(channel.mean(channel.sum) - 128);
    };
    const auto farther = std::max(from_grey(u), from_grey(v));
    double bits = farther > 70 ? kNeverSoTinted : farther > 40 ? kTinted : 0;
    if (step(luma) > 0 && std::max(step(u), step(v)) > 0.9 * step(luma)) bits += kQuietLuma;
    return bits == 0 && farther < 20 ? kNearGrey : bits;
}

/// Where two colours show a picture, so does the third; low bits beside high ones are noise.
double against_colours(const Channel& a, const Channel& b, const Channel& c) {
    constexpr double kNoColour = 0.3, kMuchNoisier = 4;
    const auto is_other = [](const Channel& one, const Channel& two, const Channel& three) {
        return (!one.has_picture() && two.has_picture() && three.has_picture()) ||
               (one.has_unused_bits() && !two.has_unused_bits() && !three.has_unused_bits()) ||
               one.steps > kMuchNoisier * std::max(two.steps, three.steps);
    };
    return is_other(a, b, c) || is_other(b, c, a) || is_other(c, a, b) ? kNoColour : 0;
}

/// Grey pixels stored as colours change at every third byte and nowhere else.
double against_grey(std::span<const std::uint8_t> bytes) {
    constexpr double kColours = 0.3, kNearlyAll = 0.97, kFewest = 500;
    constexpr std::size_t kSampledBytes = 1 << 16;
    const auto taken = std::min(bytes.size(), kSampledBytes);
    bytes = bytes.subspan((bytes.size() - taken) / 2, taken);
    std::array<double, 3> changes{};
    for (std::size_t i = 1; i < bytes.size(); ++i) changes[i % 3] += bytes[i] != bytes[i - 1];
    const auto all = changes[0] + changes[1] + changes[2];
    const auto most = *std::max_element(changes.begin(), changes.end());
    return all > kFewest && most > kNearlyAll * all ? kColours : 0;
}

}  // namespace

double against_channels(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    constexpr double kChangingAlpha = 0.4, kColours = 0.3;
    const auto& fit = *hypothesis.fit;
    const bool has_alpha = channels(*fit.coding.format) == 4;
    const bool is_yuv_coding = is_yuv(*fit.coding.format);
    const auto end = std::min(static_cast<std::int64_t>(window.size()), fit.reach);
    if (!is_yuv_coding && channels(*fit.coding.format) == 1)
        return fit.coding.format->depth == 8
                   ? against_grey(window.first(static_cast<std::size_t>(end)))
                   : 0;
    const auto rows = 8 * (end - hypothesis.start) / hypothesis.pitch_bits;
    // The middle of rows; groups of all codings are whole at multiples of 8 pixels.
    const auto width = std::min(hypothesis.width, kSampledColumns);
    const auto from =
        8 * hypothesis.start + fit.coding.row_bits((hypothesis.width - width) / 2 / 8 * 8);
    std::array<Channel, 4> sampled;
    RowSamples row;
    std::int64_t counted = 0, following = 0;
    for (std::int64_t y = 0; y < rows; y += std::max<std::int64_t>(1, rows / kSampledRows)) {
        split_row(fit.coding, window.data(), from + y * hypothesis.pitch_bits, width, 0, row);
        const std::size_t red = is_yuv_coding ? 1 : 4, blue = is_yuv_coding ? 2 : 5;
        sampled[0].add(row.planes[0]);
        sampled[1].add(row.planes[red]);
        sampled[2].add(row.planes[blue]);
        sampled[3].add(row.planes[3]);
        ++counted;
        if (is_yuv_coding && row.planes[0].size() == row.planes[1].size())
            following += follows(row.planes[1], row.planes[0]);
    }
    if (!is_yuv_coding) {
        const bool changes = has_alpha && sampled[3].mean(sampled[3].changes) > 0.05;
        return against_colours(sampled[0], sampled[1], sampled[2]) + (changes ? kChangingAlpha : 0);
    }
    const bool has_no_luma = sampled[1].has_picture() && !sampled[0].has_picture();
    const double colours = has_no_luma || 3 * following > counted ? kColours : 0;
    return against_chroma(sampled[0], sampled[1], sampled[2]) + colours;
}

}  // namespace frames
