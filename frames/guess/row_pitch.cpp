#include "guess/row_pitch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace frames {
namespace {

// 96 pieces of 64 samples see enough of a picture: the mean of 6144 differences is known to half a
// level. Long rows are those of large pictures; fewer pieces bound their time.
constexpr std::size_t kPieces = 96, kPiecesOfLong = 48;
constexpr std::size_t kLongLag = 8192;
constexpr std::size_t kPieceLength = 64;
constexpr std::int64_t kProfileBytes = 2 << 20;
constexpr std::int64_t kLongestPitch = 65536;
constexpr std::int64_t kFewestRows = 8;
constexpr std::size_t kShortestPitch = 8;
constexpr std::int64_t kWholeGroups = 840;

using Signal = std::vector<std::uint8_t>;

/// Compilers make one instruction per 16 bytes of this on every CPU of interest.
unsigned sum_of_differences(const std::uint8_t* a, const std::uint8_t* b) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < kPieceLength; ++i)
        sum += static_cast<unsigned>(std::abs(a[i] - b[i]));
    return sum;
}

/// The upper 8 bits of the samples from byte `phase` on.
Signal upper_bits(const CodingFit& fit, std::span<const std::uint8_t> bytes, std::int64_t phase) {
    const auto& coding = fit.coding;
    const auto groups = (static_cast<std::int64_t>(bytes.size()) - phase) / coding.group_bytes();
    const auto count = static_cast<std::size_t>(std::max<std::int64_t>(0, groups) *
                                                coding.group_pixels() * channels(*coding.format));
    std::vector<std::uint16_t> words(count);
    unpack_samples(coding, bytes.data() + phase, 0, count, words.data());
    const int depth = coding.format->depth;
    Signal signal(count);
    std::transform(words.begin(), words.end(), signal.begin(), [&](unsigned word) {
        if (depth < 8) return static_cast<std::uint8_t>(word << (8 - depth));
        return static_cast<std::uint8_t>(std::min(word >> fit.upper_shift, 255U));
    });
    return signal;
}

/// Mean absolute difference between `signal` and what lies `lag` samples further on in `other`.
class LagProfile {
  public:
    LagProfile(std::size_t size, std::size_t longest)
        : longest_(longest),
          room_(size > longest + kPieceLength ? size - longest - kPieceLength : 0) {}

    double at(const Signal& signal, const Signal& other, std::size_t lag) const {
        unsigned sum = 0;
        const auto pieces = lag < kLongLag ? kPieces : kPiecesOfLong;
        for (std::size_t piece = 0; piece < pieces; ++piece) {
            // The golden ratio spreads the pieces evenly without a period that rows could share.
            const auto place = 0.618033988749895 * static_cast<double>(piece);
            const auto start =
                static_cast<std::size_t>(static_cast<double>(room_) * (place - std::floor(place)));
            sum += sum_of_differences(signal.data() + start, other.data() + start + lag);
        }
        return static_cast<double>(sum) / static_cast<double>(pieces * kPieceLength);
    }
    std::size_t longest() const { return room_ == 0 ? 0 : longest_; }

  private:
    std::size_t longest_, room_;
};

struct Dip {
    std::int64_t bits;
    double depth;
};

/// Lags at which the profile is lowest within a tenth of the lag to either side; of equal ones the
/// first.
void add_dips(const std::vector<double>& profile, std::int64_t bits_per_lag,
              std::vector<Dip>& dips) {
    for (std::size_t lag = kShortestPitch; lag + 1 < profile.size(); ++lag) {
        const auto reach = std::min(lag, std::max<std::size_t>(8, lag / 10));
        // From near to far, since most lags have a lower one close by.
        const auto is_lowest = [&] {
            for (std::size_t i = 1; i <= reach; ++i) {
                if (profile[lag - i] <= profile[lag]) return false;
                if (lag + i < profile.size() && profile[lag + i] < profile[lag]) return false;
            }
            return true;
        };
        if (!is_lowest()) continue;
        double sum = 0, number = 0;
        for (auto i = lag - reach; i < std::min(lag + reach + 1, profile.size()); ++i, ++number)
            sum += profile[i];
        if (sum > 0)
            dips.push_back(
                {static_cast<std::int64_t>(lag) * bits_per_lag, 1 - profile[lag] * number / sum});
    }
}

/// The deepest dip where only those of several rows come near it. Letters of a page, which stand
/// at equal distances, have dips of their own, but no deep ones.
std::int64_t clear_dip(const std::vector<Dip>& sorted) {
    constexpr double kDeep = 0.15, kClearly = 1.4;
    if (sorted.empty() || sorted.front().depth < kDeep) return 0;
    const auto& best = sorted.front();
    for (const auto& other : sorted) {
        const auto beyond = other.bits % best.bits;
        const auto aside = std::min(beyond, best.bits - beyond);
        if (64 * aside > best.bits) return best.depth > kClearly * other.depth ? best.bits : 0;
    }
    return best.bits;
}

/// Bytes of a row of a frame that fills the file and is `kWidest` times wider than high.
std::int64_t widest_picture(std::int64_t size, const Coding& coding) {
    constexpr double kWidest = 6;
    const auto area = static_cast<double>(size) * coding.format->bits_per_pixel / 8;
    return std::max<std::int64_t>(2048, static_cast<std::int64_t>(std::sqrt(kWidest * area)));
}

}  // namespace

PitchCandidates pitch_candidates(std::span<const std::uint8_t> window, const CodingFit& fit,
                                 std::int64_t size, std::size_t count) {
    const auto& coding = fit.coding;
    const auto reach = std::min(static_cast<std::int64_t>(window.size()), fit.reach);
    const auto taken = std::min(reach - fit.phase, kProfileBytes);
    if (taken < kWholeGroups) return {};
    const auto from = fit.phase + (reach - fit.phase - taken) / 2 / kWholeGroups * kWholeGroups;
    const auto bytes =
        window.subspan(static_cast<std::size_t>(from), static_cast<std::size_t>(taken));
    const auto longest = static_cast<std::size_t>(
        std::min({kLongestPitch, taken / kFewestRows, widest_picture(size, coding)}));

    if (std::all_of(bytes.begin(), bytes.end(), [&](auto byte) { return byte == bytes[0]; }))
        return {};

    std::vector<Dip> dips;
    const bool has_bytes = coding.format->depth == 8;
    const auto group = has_bytes ? 1 : coding.group_bytes();
    const auto samples = has_bytes ? 1 : coding.group_pixels() * channels(*coding.format);
    std::vector<Signal> signals;
    if (has_bytes)
        signals.emplace_back(bytes.begin(), bytes.end());
    else
        for (std::int64_t phase = 0; phase < group; ++phase)
            signals.push_back(upper_bits(fit, bytes, phase));

    // Rows of whole bytes: the next row may begin at another phase of the groups.
    const auto last_lag =
        longest / static_cast<std::size_t>(group) * static_cast<std::size_t>(samples);
    const LagProfile lags(signals.back().size(), last_lag);
    std::vector<double> profile;
    if (lags.longest() > 0)
        for (std::size_t lag = 0;
             lag < longest / static_cast<std::size_t>(group) * static_cast<std::size_t>(group);
             ++lag)
            profile.push_back(
                lags.at(signals[0], signals[lag % static_cast<std::size_t>(group)],
                        lag / static_cast<std::size_t>(group) * static_cast<std::size_t>(samples)));
    add_dips(profile, 8, dips);

    // Rows of a stream may end within a byte.
    if (coding.is_stream() && lags.longest() > 0) {
        profile.clear();
        for (std::size_t lag = 0; lag < lags.longest(); ++lag)
            profile.push_back(lags.at(signals[0], signals[0], lag));
        add_dips(profile, coding.format->depth, dips);
    }
    std::stable_sort(dips.begin(), dips.end(),
                     [](const Dip& a, const Dip& b) { return a.depth > b.depth; });
    PitchCandidates pitches{{}, clear_dip(dips)};
    for (const auto& dip : dips)
        if (pitches.bits.size() < count &&
            std::find(pitches.bits.begin(), pitches.bits.end(), dip.bits) == pitches.bits.end())
            pitches.bits.push_back(dip.bits);
    return pitches;
}

}  // namespace frames
