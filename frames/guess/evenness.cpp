#include "guess/evenness.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace frames {
namespace {

constexpr std::int64_t kRows = 96, kLongestRow = 1536;

/// How far neighbours differ, by their place in groups of `period` samples.
class StepsByPlace {
  public:
    StepsByPlace(std::size_t period, std::size_t apart) : period_(period), apart_(apart) {}

    template <class Samples>
    void add_row(const Samples& row) {
        std::array<double, kMostPlaces> sums{};
        // All places have as many steps, so that no edge at the end of the row makes them uneven.
        const auto first = (apart_ + period_ - 1) / period_ * period_;
        const auto groups = row.size() > first ? (row.size() - first) / period_ : 0;
        if (groups == 0) return;
        double all = 0;
        for (std::size_t group = 0; group < groups; ++group) {
            auto& part = parts_[group * kParts / groups];
            for (std::size_t i = 0; i < period_; ++i) {
                const auto step = step_at(row, first + group * period_ + i);
                sums[i] += step;
                part[i] += step;
                all += step;
            }
        }
        const auto count = static_cast<double>(groups);
        for (std::size_t i = 0; i < period_; ++i) {
            const auto beyond = sums[i] / count - all / count / static_cast<double>(period_);
            beyond_[i] += beyond;
            squares_[i] += beyond * beyond;
        }
        changed_ += all;
        steps_ += all / count / static_cast<double>(period_);
        ++rows_;
    }

    bool is_uneven() const {
        // A single edge stands somewhere, and at the same place in all rows if it is upright.
        constexpr double kSurely = 6, kClearly = 0.03, kManyEdges = 8;
        if (changed_ < kManyEdges * rows_) return false;
        for (std::size_t i = 0; i < period_; ++i)
            if (std::abs(beyond_[i]) > kClearly * steps_ && errors(i) > kSurely && is_everywhere(i))
                return true;
        return false;
    }
    double mean() const { return rows_ > 0 ? steps_ / rows_ : 0; }
    /// Nothing hints at a difference although there are enough rows with something to see.
    bool is_even() const {
        constexpr double kSeen = 400, kHardly = 0.02, kVague = 0.1;
        if (changed_ < kSeen) return false;
        for (std::size_t i = 0; i < period_; ++i) {
            if (error(i) > kVague * steps_) return false;
            if (std::abs(beyond_[i]) > kHardly * steps_ && errors(i) > 3) return false;
        }
        return true;
    }

  private:
    static constexpr std::size_t kMostPlaces = 8, kParts = 4;

    template <class Samples>
    double step_at(const Samples& row, std::size_t x) const {
        return std::abs(static_cast<int>(row[x]) - static_cast<int>(row[x - apart_]));
    }
    /// Upright edges make a part of the rows uneven, kinds of samples all of it.
    bool is_everywhere(std::size_t place) const {
        constexpr double kSlightly = 0.01, kNothingToSee = 0.02;
        return std::all_of(parts_.begin(), parts_.end(), [&](const auto& sums) {
            double all = 0;
            for (const auto sum : sums) all += sum;
            const auto beyond = sums[place] * static_cast<double>(period_) - all;
            return all < kNothingToSee * changed_ ||
                   (beyond_[place] > 0 ? beyond : -beyond) > kSlightly * all;
        });
    }
    /// The standard error of the sum.
    double error(std::size_t place) const {
        const auto spread = squares_[place] - beyond_[place] * beyond_[place] / rows_;
        return std::sqrt(std::max(spread, 1e-9));
    }
    double errors(std::size_t place) const { return std::abs(beyond_[place]) / error(place); }

    std::size_t period_, apart_;
    std::array<double, kMostPlaces> beyond_{}, squares_{};
    std::array<std::array<double, kMostPlaces>, kParts> parts_{};  ///< sums of steps
    double steps_ = 0, changed_ = 0, rows_ = 0;
};

/// Calls `use` with where rows begin that are spread over the window, and with their width.
template <class Use>
void for_rows(std::span<const std::uint8_t> window, const Hypothesis& hypothesis, Use use) {
    const auto& fit = *hypothesis.fit;
    const auto end =
        8 * (std::min(static_cast<std::int64_t>(window.size()), fit.reach) - hypothesis.start);
    const auto width = std::min(hypothesis.width, kLongestRow);
    const auto rows = end / hypothesis.pitch_bits - 1;
    const auto count = std::min(rows, kRows);
    for (std::int64_t i = 0; i < count; ++i) {
        // From the second eighth on, behind a header.
        const auto y = rows / 8 + (rows - rows / 8) * i / count;
        use(8 * hypothesis.start + y * hypothesis.pitch_bits, width);
    }
}

/// The samples of bytes that hold several, each of `depth` bits.
std::vector<int> samples_of(std::span<const std::uint8_t> bytes, int depth) {
    std::vector<int> samples;
    for (const int byte : bytes)
        for (int bit = 0; bit < 8; bit += depth)
            samples.push_back(byte >> bit & ((1 << depth) - 1));
    return samples;
}

double against_few_bits(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    constexpr double kLargerSamples = 0.5, kSmallerSamples = 0.3;
    const int depth = hypothesis.fit->coding.format->depth;
    // Neighbours and second neighbours: of the upper and the lower half of a sample, second ones
    // differ by less and by more.
    StepsByPlace pairs(2, 1), second_pairs(2, 2), fours(4, 1), halves(2, 1), second_halves(2, 2),
        quarters(4, 1), fourth_quarters(4, 4);
    for_rows(window, hypothesis, [&](std::int64_t bit, std::int64_t width) {
        const auto bytes = window.subspan(static_cast<std::size_t>(bit / 8),
                                          static_cast<std::size_t>(width * depth / 8));
        const auto samples = samples_of(bytes, depth);
        pairs.add_row(samples);
        second_pairs.add_row(samples);
        fours.add_row(samples);
        if (depth > 1) {
            halves.add_row(samples_of(bytes, depth / 2));
            second_halves.add_row(samples_of(bytes, depth / 2));
        }
        if (depth > 2) {
            quarters.add_row(samples_of(bytes, depth / 4));
            fourth_quarters.add_row(samples_of(bytes, depth / 4));
        }
    });
    const bool are_parts = pairs.is_uneven() || second_pairs.is_uneven();
    double bits = are_parts || (depth < 4 && fours.is_uneven()) ? kLargerSamples : 0;
    if ((halves.is_even() && second_halves.is_even()) ||
        (quarters.is_even() && fourth_quarters.is_even()))
        bits += kSmallerSamples;
    return bits;
}

double against_colours(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    constexpr double kColours = 0.3, kNoColours = 0.2, kNoise = 0.04, kNear = 0.8, kGrowth = 1.04;
    const auto& coding = hypothesis.fit->coding;
    const auto count = static_cast<std::size_t>(channels(*coding.format));
    StepsByPlace steps(3, hypothesis.is_mosaic ? 2 : 1);
    StepsByPlace pixels(3, 3), far(3, 48);
    RowSamples row;
    for_rows(window, hypothesis, [&](std::int64_t bit, std::int64_t width) {
        split_row(coding, window.data(), bit, width, 0, row);
        steps.add_row(row.words);
        pixels.add_row(row.words);
        far.add_row(row.words);
    });
    // In noise no neighbours are alike, whatever they are. In smooth grey scenes, pixels differ by
    // noise alone, as the three samples of a pixel do.
    if (count == 3 && steps.is_even()) {
        const bool is_noise = steps.mean() >= kNear * far.mean();
        return is_noise || pixels.mean() < kGrowth * steps.mean() ? kNoise : kNoColours;
    }
    if (count == 3) return 0;
    return steps.is_uneven() ? kColours : 0;
}

}  // namespace

double against_evenness(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    const auto& format = *hypothesis.fit->coding.format;
    if (format.depth < 8) return against_few_bits(window, hypothesis);
    const bool is_plain = hypothesis.fit->coding.is_words() || format.depth == 8;
    if (is_yuv(format) || !is_plain || channels(format) == 4) return 0;
    return against_colours(window, hypothesis);
}

}  // namespace frames
