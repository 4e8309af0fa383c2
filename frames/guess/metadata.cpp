#include "guess/metadata.h"

#include <algorithm>
#include <cmath>

namespace frames {
namespace {

constexpr std::int64_t kLearnedRows = 96, kLearnedBytes = 1024;
constexpr double kSurest = 6;  // bits that one byte says at most

enum Kind { kZero, kText, kNumber, kKinds };

Kind kind_of(std::uint8_t byte) {
    return byte == 0 ? kZero : byte >= ' ' && byte < 127 ? kText : kNumber;
}

/// How often each kind follows each kind in headers, beside how many bytes are of the kind.
constexpr double kFollows[kKinds][kKinds] = {
    {0.93, 0.02, 0.05}, {0.05, 0.92, 0.03}, {0.3, 0.1, 0.6}};
constexpr double kBytesOfKind[kKinds] = {1, 95, 160};

/// Turns counts into likelihoods; what was never seen may still be.
void normalize(std::array<double, 256>& histogram) {
    double sum = 0;
    for (auto& count : histogram) sum += count += 0.05;
    for (auto& count : histogram) count /= sum;
}

}  // namespace

Metadata::Metadata(std::span<const std::uint8_t> window, const Hypothesis& hypothesis)
    : group_(std::min<std::int64_t>(hypothesis.fit->coding.group_bytes(), kMostPhases)),
      pitch_bits_(hypothesis.pitch_bits),
      row_bytes_((hypothesis.fit->coding.row_bits(hypothesis.width) + 7) / 8),
      apart_(static_cast<std::size_t>(hypothesis.is_mosaic ? 2 * group_ : group_)) {
    learn(window, hypothesis);
    for (std::size_t i = 0; i < kMostPhases; ++i) {
        normalize(values_[i]);
        normalize(steps_[i]);
    }
}

int Metadata::phase(std::int64_t place) const {
    if (pitch_bits_ % 8 != 0) return static_cast<int>(((place % group_) + group_) % group_);
    const auto pitch = pitch_bits_ / 8;
    const auto in_row = ((place % pitch) + pitch) % pitch;
    return in_row < row_bytes_ ? static_cast<int>(in_row % group_) : -1;
}

void Metadata::learn(std::span<const std::uint8_t> window, const Hypothesis& hypothesis) {
    const auto end = std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach);
    const auto rows = (end - hypothesis.start) * 8 / pitch_bits_;
    const auto taken = std::min(row_bytes_, kLearnedBytes);
    // A header is in the first rows, and behind the last one may be something, too.
    const auto first = rows / 8, count = std::min(kLearnedRows, rows * 3 / 4);
    for (std::int64_t i = 0; i < count; ++i) {
        const auto y = first + rows * 3 / 4 * i / count;
        const auto from = (row_bytes_ - taken) / kLearnedRows * i / group_ * group_;
        const auto place = y * pitch_bits_ / 8 + from;
        for (auto at = std::max<std::int64_t>(place, static_cast<std::int64_t>(apart_));
             at < place + taken && hypothesis.start + at < end; ++at) {
            const auto byte = static_cast<std::size_t>(hypothesis.start + at);
            const auto kind = phase(at);
            if (kind < 0) continue;
            ++values_[static_cast<std::size_t>(kind)][window[byte]];
            ++steps_[static_cast<std::size_t>(kind)]
                    [static_cast<std::uint8_t>(window[byte] - window[byte - apart_])];
        }
    }
}

std::vector<double> Metadata::likelihoods(std::span<const std::uint8_t> bytes,
                                          std::int64_t place) const {
    std::vector<double> bits(bytes.size());
    auto before = kText;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto kind = kind_of(bytes[i]);
        const auto as_metadata = kFollows[before][kind] / kBytesOfKind[kind];
        before = kind;
        const auto of_group = phase(place + static_cast<std::int64_t>(i));
        if (of_group < 0) continue;
        // Bright pixels stand beside bright ones, even where most of the frame is dark.
        const auto histogram = static_cast<std::size_t>(of_group);
        auto as_pixel = values_[histogram][bytes[i]];
        if (i >= apart_)
            as_pixel =
                (as_pixel +
                 steps_[histogram][static_cast<std::uint8_t>(bytes[i] - bytes[i - apart_])]) /
                2;
        bits[i] = std::clamp(std::log2(as_metadata / as_pixel), -kSurest, kSurest);
    }
    return bits;
}

Metadata::Verdict Metadata::judge(std::span<const std::uint8_t> bytes, std::int64_t place,
                                  std::int64_t from, std::int64_t to) const {
    const auto bits = likelihoods(bytes, place);
    const auto size = static_cast<std::int64_t>(bits.size());
    Verdict verdict;
    // The best run of bytes that begins and ends where it may.
    const bool begins_first = from <= 0, ends_last = to >= size;
    double run = 0, best = 0;
    for (std::int64_t i = 0; i < size; ++i) {
        const auto bit = bits[static_cast<std::size_t>(i)];
        if (i >= from && i < to) verdict.gain += bit;
        run += bit;
        if (!begins_first) run = std::max(run, 0.0);
        if (!ends_last) best = std::max(best, run);
    }
    if (ends_last) best = std::max(best, run);
    verdict.deficit = best - verdict.gain;
    return verdict;
}

}  // namespace frames
