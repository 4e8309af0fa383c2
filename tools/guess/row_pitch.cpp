#include "guess/row_pitch.h"

#include <emmintrin.h>
#include <algorithm>
#include <bit>

namespace tool {
namespace {

// 256 pieces of 64 elements see enough of a picture: the mean of 16384 differences is known to a
// few tenths of a level, and 65536 lags take less than a tenth of a second.
constexpr std::size_t kPieces = 256;
constexpr std::size_t kPieceLength = 64;
constexpr std::size_t kShortestPitch = 16;

/// psadbw belongs to every x86-64 CPU.
std::int64_t sumOfDifferences(const std::uint8_t* a, const std::uint8_t* b) {
    auto sum = _mm_setzero_si128();
    for (std::size_t i = 0; i < kPieceLength; i += 16) {
        const auto x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
        const auto y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
        sum = _mm_add_epi64(sum, _mm_sad_epu8(x, y));
    }
    return _mm_cvtsi128_si64(sum) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(sum, sum));
}

std::vector<std::uint8_t> upperBytes(std::span<const std::uint8_t> bytes, std::size_t first,
                                     int shift) {
    std::vector<std::uint8_t> upper;
    upper.reserve(bytes.size() / 2);
    for (std::size_t i = first; i + 1 < bytes.size(); i += 2)
        upper.push_back(
            static_cast<std::uint8_t>(std::min((bytes[i] | bytes[i + 1] << 8) >> shift, 255)));
    return upper;
}

}  // namespace

std::vector<double> lagProfile(std::span<const std::uint8_t> signal,
                               std::span<const std::uint8_t> other, std::size_t maxLag) {
    const auto size = std::min(signal.size(), other.size());
    if (size <= kPieceLength) return {};
    maxLag = std::min(maxLag, size - kPieceLength - 1);
    const auto room = size - kPieceLength - maxLag;
    std::vector<std::int64_t> sums(maxLag + 1);
    for (std::size_t piece = 0; piece < kPieces; ++piece) {
        // The golden ratio spreads the pieces evenly without a period that rows could share.
        const auto start = static_cast<std::size_t>(
            static_cast<double>(room) *
            (0.618033988749895 * static_cast<double>(piece) -
             static_cast<std::int64_t>(0.618033988749895 * static_cast<double>(piece))));
        for (std::size_t lag = 0; lag <= maxLag; ++lag)
            sums[lag] += sumOfDifferences(signal.data() + start, other.data() + start + lag);
    }
    std::vector<double> profile(sums.size());
    std::transform(sums.begin(), sums.end(), profile.begin(), [](std::int64_t sum) {
        return static_cast<double>(sum) / (kPieces * kPieceLength);
    });
    return profile;
}

std::vector<double> wordLagProfile(std::span<const std::uint8_t> bytes, std::size_t maxLag) {
    if (bytes.size() < 4) return {};
    std::vector<std::uint8_t> high;
    for (std::size_t i = 1; i < bytes.size(); i += 2) high.push_back(bytes[i]);
    const auto middle = high.begin() + static_cast<std::ptrdiff_t>(high.size() / 2);
    std::nth_element(high.begin(), middle, high.end());
    // The median and not the largest one: when rows end with an odd number of bytes, every other
    // row has its low bytes here.
    const int shift = std::bit_width(unsigned{*middle});
    const auto even = upperBytes(bytes, 0, shift);
    const auto odd = upperBytes(bytes, 1, shift);
    const auto evenLags = lagProfile(even, even, maxLag / 2);
    const auto oddLags = lagProfile(even, odd, maxLag / 2);
    std::vector<double> profile;
    for (std::size_t i = 0; i < std::min(evenLags.size(), oddLags.size()); ++i) {
        profile.push_back(evenLags[i]);
        profile.push_back(oddLags[i]);
    }
    return profile;
}

std::vector<std::size_t> pitchCandidates(std::span<const double> profile, std::size_t count) {
    struct Dip {
        std::size_t lag;
        double depth;
    };
    std::vector<Dip> dips;
    for (std::size_t lag = kShortestPitch; lag + 1 < profile.size(); ++lag) {
        const auto reach = std::max<std::size_t>(8, lag / 10);
        // From near to far, since most lags have a lower one close by.
        const auto lowest = [&] {
            for (std::size_t i = 1; i <= reach; ++i) {
                if (profile[lag - i] < profile[lag]) return false;
                if (lag + i < profile.size() && profile[lag + i] < profile[lag]) return false;
            }
            return true;
        };
        if (!lowest()) continue;
        double sum = 0, number = 0;
        for (auto i = lag - reach; i < std::min(lag + reach + 1, profile.size()); ++i, ++number)
            sum += profile[i];
        if (sum > 0) dips.push_back({lag, 1 - profile[lag] * number / sum});
    }
    std::stable_sort(dips.begin(), dips.end(),
                     [](const Dip& a, const Dip& b) { return a.depth > b.depth; });
    if (dips.size() > count) dips.resize(count);
    std::vector<std::size_t> lags;
    for (const auto& dip : dips) lags.push_back(dip.lag);
    return lags;
}

}  // namespace tool
