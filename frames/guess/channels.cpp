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
    double count = 0, sum = 0, steps = 0, near_steps = 0, changes = 0;
    unsigned used_bits = 0;
    double runs = 0, run_means = 0, squared_run_means = 0, squared_in_runs = 0;

    /// `apart`: how far the steps reach, in samples.
    void add(const std::vector<int>& plane, std::size_t apart = 1) {
        for (std::size_t x = 1; x < plane.size(); ++x) {
            sum += plane[x];
            used_bits |= static_cast<unsigned>(plane[x]);
            if (x >= apart) steps += std::abs(plane[x] - plane[x - apart]);
            near_steps += std::abs(plane[x] - plane[x - 1]);
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

/// How the steps from pixel to pixel of two planes go together, -1 to 1.
class CommonSteps {
  public:
    void add(const std::vector<int>& a, const std::vector<int>& b) {
        for (std::size_t x = 1; x < std::min(a.size(), b.size()); ++x) {
            const double of_a = a[x] - a[x - 1], of_b = b[x] - b[x - 1];
            common_ += of_a * of_b;
            squares_a_ += of_a * of_a;
            squares_b_ += of_b * of_b;
        }
    }
    double correlation() const {
        const auto both = std::sqrt(squares_a_ * squares_b_);
        return both > 0 ? common_ / both : 0;
    }

  private:
    double common_ = 0, squares_a_ = 0, squares_b_ = 0;
};

constexpr double kOpposite = -0.06;

/// U, Y and V read as red, green and blue: the outer ones lie about 128 and do not follow the one
/// between them, or do the opposite, as noise of the colours makes them do. Colours go together.
double against_chroma_as_colours(const Channel& green, const Channel& red, const Channel& blue,
                                 const CommonSteps& of_red, const CommonSteps& of_blue) {
    constexpr double kFarthest = 64, kApart = 0.4, kQuieter = 0.75;
    constexpr double kChroma = 0.3;
    const auto from_grey = [](const Channel& channel) {
        return std::abs(channel.mean(channel.sum) - 128);
    };
    if (std::max(from_grey(red), from_grey(blue)) > kFarthest) return 0;
    const auto lower = std::min(of_red.correlation(), of_blue.correlation());
    const auto higher = std::max(of_red.correlation(), of_blue.correlation());
    const bool are_quiet = std::max(red.steps, blue.steps) < kQuieter * green.steps;
    return lower < kOpposite || (are_quiet && higher < kApart) ? kChroma : 0;
}

/// Whether Y, U and V are colours at all. Most of their combinations are none: the darker or the
/// brighter a pixel, the nearer its chroma is to 128, where samples of another kind lie anywhere.
class YuvColours {
  public:
    void add_row(const RowSamples& row) {
        const auto &luma = row.planes[0], &chroma_u = row.planes[1], &chroma_v = row.planes[2];
        if (chroma_u.empty()) return;
        const auto lumas = luma.size() / chroma_u.size();
        for (std::size_t i = 0; i < chroma_u.size(); ++i) {
            // The mean, since at an edge one of the pixels has the chroma of the other.
            int y = 0;
            for (std::size_t k = 0; k < lumas; ++k) y += luma[i * lumas + k];
            y /= static_cast<int>(lumas);
            const int u = chroma_u[i] - 128, v = chroma_v[i] - 128;
            const int red = y + v * 359 / 256, blue = y + u * 454 / 256,
                      green = y - (u * 88 + v * 183) / 256;
            const auto [least, most] = std::minmax({red, green, blue});
            outside_ += least < -kTolerance || most > 255 + kTolerance;
            extreme_ += y < kDark || y > kBright;
            neutral_ += u == 0 && v == 0;
            grey_ += std::abs(y - 128) <= 1;
            ++count_;
        }
    }

    double outside() const { return count_ > 0 ? outside_ / count_ : 1; }
    bool are_none() const { return outside_ > 0.1 * count_; }
    /// Whether dark or bright pixels are there beside others, and all pixels are colours.
    bool are_sure() const {
        return are_possible() && extreme_ > 0.05 * count_ && extreme_ < 0.95 * count_;
    }
    bool are_possible() const { return outside_ < 0.01 * count_; }
    /// Whether all chroma is that of grey although the luma is any.
    bool are_grey() const { return neutral_ > 0.95 * count_ && grey_ < 0.5 * count_; }

  private:
    static constexpr int kTolerance = 24, kDark = 48, kBright = 208;
    double count_ = 0, outside_ = 0, extreme_ = 0, neutral_ = 0, grey_ = 0;
};

double against_chroma(const Channel& luma, const Channel& u, const Channel& v,
                      const YuvColours& colours, bool are_opposite) {
    constexpr double kNoColours = 0.3, kSurelyColours = -0.2, kSurelyGrey = -0.25;
    constexpr double kZigzag = 1.5;
    constexpr double kNoisiest = 0.9;
    constexpr double kQuietLuma = 0.3, kTinted = 0.15, kNeverSoTinted = 0.6, kNearGrey = -0.05;
    const auto step = [](const Channel& channel) { return channel.mean(channel.steps); };
    const auto from_grey = [](const Channel& channel) {
        return std::abs(channel.mean(channel.sum) - 128);
    };
    const auto farther = std::max(from_grey(u), from_grey(v));
    if (colours.are_grey()) return kSurelyGrey;
    double bits = farther > 85                              ? kNeverSoTinted
                  : farther > 40 && !colours.are_possible() ? kTinted
                                                            : 0;
    if (colours.are_none()) bits += kNoColours;
    if (colours.are_sure()) bits += kSurelyColours;
    // Noise of the colours is as strong in U and V as in luma, but goes the opposite way.
    if (step(luma) > 0 && !are_opposite && std::max(step(u), step(v)) > kNoisiest * step(luma))
        bits += kQuietLuma;
    // U and V between lumas would make them zigzag.
    if (luma.near_steps > kZigzag * luma.steps) bits += kNoColours;
    return bits == 0 && farther < 20 && luma.changes > 0 ? kNearGrey : bits;
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

/// Grey pixels stored as colours change at every third byte and nowhere else, samples of 8 bits
/// that were stretched to words at every second one.
double against_grey(std::span<const std::uint8_t> bytes) {
    constexpr double kColours = 0.3, kNearlyAll = 0.97, kFewest = 500;
    constexpr std::size_t kSampledBytes = 1 << 16;
    const auto taken = std::min(bytes.size(), kSampledBytes);
    bytes = bytes.subspan((bytes.size() - taken) / 2, taken);
    for (const std::size_t period : {2, 3}) {
        std::array<double, 3> changes{};
        for (std::size_t i = 1; i < bytes.size(); ++i)
            changes[i % period] += bytes[i] != bytes[i - 1];
        const auto all = changes[0] + changes[1] + changes[2];
        const auto most = *std::max_element(changes.begin(), changes.end());
        if (all > kFewest && most > kNearlyAll * all) return kColours;
    }
    return 0;
}

/// GigE Vision's packing of 10 bits has three bytes for two samples, and four bits of the middle
/// one are 0. In pixels of three bytes these bits are used in all channels or in none.
class PackedTenBits {
  public:
    void add_row(std::span<const std::uint8_t> bytes) {
        constexpr unsigned kUnused = 0xCC, kUsed = 0x33;
        unsigned low = 0;
        double groups = 0, high = 0;
        for (std::size_t i = 0; i + 2 < bytes.size(); i += 3, ++groups) {
            low |= bytes[i + 1];
            high += ((bytes[i] | bytes[i + 2]) & kUnused) != 0;
        }
        fitting_ += low == kUsed && high > 0.3 * groups;
        ++rows_;
    }
    /// Bytes between frames move the groups, so that not all rows need fit.
    bool are_likely() const { return fitting_ > 0.15 * rows_; }

  private:
    double rows_ = 0, fitting_ = 0;
};

/// The channels of some rows of a picture, and how they go together.
class SampledChannels {
  public:
    SampledChannels(std::span<const std::uint8_t> window, const Hypothesis& hypothesis)
        : window_(window), coding_(hypothesis.fit->coding), is_yuv_(is_yuv(*coding_.format)) {
        const auto end = std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach);
        const auto rows = 8 * (end - hypothesis.start) / hypothesis.pitch_bits;
        // The middle of rows; groups of all codings are whole at multiples of 8 pixels.
        const auto width = std::min(hypothesis.width, kSampledColumns);
        const auto from =
            8 * hypothesis.start + coding_.row_bits((hypothesis.width - width) / 2 / 8 * 8);
        for (std::int64_t y = 0; y < rows; y += std::max<std::int64_t>(1, rows / kSampledRows)) {
            add_row(from + y * hypothesis.pitch_bits, width);
            if (is_yuv_) add_yuv(y < rows / 6);
        }
    }

    double bits() const {
        constexpr double kPackedTenBits = 0.6;
        const bool is_of_threes = coding_.group_bytes() % 3 == 0 && !coding_.is_deep();
        if (is_of_threes && ten_bits_.are_likely()) return kPackedTenBits;
        return is_yuv_ ? against_yuv() : against_rgb();
    }

  private:
    void add_row(std::int64_t bit, std::int64_t width) {
        split_row(coding_, window_.data(), bit, width, 0, row_);
        ten_bits_.add_row(window_.subspan(static_cast<std::size_t>(bit / 8),
                                          static_cast<std::size_t>(coding_.row_bits(width) / 8)));
        const auto& planes = row_.planes;
        const auto &red = planes[is_yuv_ ? 1 : 4], &blue = planes[is_yuv_ ? 2 : 5];
        // As far as from one sample of the chroma to the next: slopes go on.
        const auto apart =
            is_yuv_ ? planes[0].size() / std::max<std::size_t>(1, planes[1].size()) : 1;
        green_.add(planes[0], apart);
        red_.add(red);
        blue_.add(blue);
        alpha_.add(planes[3]);
        steps_of_red_.add(red, planes[0]);
        steps_of_blue_.add(blue, planes[0]);
        ++rows_;
    }

    void add_yuv(bool is_early) {
        of_yuv_.add_row(row_);
        if (is_early) of_first_yuv_.add_row(row_);
        if (row_.planes[0].size() == row_.planes[1].size())
            following_ += follows(row_.planes[1], row_.planes[0]);
    }

    double against_rgb() const {
        constexpr double kChangingAlpha = 0.4;
        const bool has_alpha = channels(*coding_.format) == 4;
        const bool changes = has_alpha && alpha_.mean(alpha_.changes) > 0.05;
        const auto chroma =
            coding_.is_deep() || has_alpha
                ? 0
                : against_chroma_as_colours(green_, red_, blue_, steps_of_red_, steps_of_blue_);
        return against_colours(green_, red_, blue_) + chroma + (changes ? kChangingAlpha : 0);
    }

    double against_yuv() const {
        constexpr double kColours = 0.3;
        const bool has_no_luma = red_.has_picture() && !green_.has_picture();
        const double colours = has_no_luma || 3 * following_ > rows_ ? kColours : 0;
        const bool are_opposite = coding_.format->layout == IMGCNV_LAYOUT_UYV &&
                                  steps_of_red_.correlation() < kOpposite &&
                                  steps_of_blue_.correlation() < kOpposite;
        // Bytes between frames may move the groups of all but the first.
        const bool is_first_better =
            !of_yuv_.are_possible() && of_first_yuv_.outside() < of_yuv_.outside();
        return against_chroma(green_, red_, blue_, is_first_better ? of_first_yuv_ : of_yuv_,
                              are_opposite) +
               colours;
    }

    std::span<const std::uint8_t> window_;
    const Coding& coding_;
    bool is_yuv_;
    RowSamples row_;
    Channel green_, red_, blue_, alpha_;  ///< of YUV: luma, U, V
    CommonSteps steps_of_red_, steps_of_blue_;
    YuvColours of_yuv_, of_first_yuv_;
    PackedTenBits ten_bits_;
    std::int64_t rows_ = 0, following_ = 0;
};

}  // namespace

double against_channels(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    const auto& fit = *hypothesis.fit;
    const auto& format = *fit.coding.format;
    if (is_yuv(format) || channels(format) > 1) return SampledChannels(window, hypothesis).bits();
    const auto end = std::min(static_cast<std::int64_t>(window.size()), fit.reach);
    return format.depth == 8 ? against_grey(window.first(static_cast<std::size_t>(end))) : 0;
}

}  // namespace frames
