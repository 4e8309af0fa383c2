#pragma once

#include "guess/prediction_cost.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// Bytes that stand before, between or behind frames are a few kilobytes at most.
constexpr std::int64_t kLongestHeader = 8192;

/// What tells headers, chunks and trailers from pixels. Metadata are runs of zeros and of text with
/// some numbers between them; a frame's bytes have the statistics of the frame, which come from the
/// middle of the window.
class Metadata {
  public:
    Metadata(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

    /// What the bytes say about the claim that those from `from` to `to` are metadata and the
    /// others pixels.
    struct Verdict {
        double gain = 0;     ///< bits that a coder saves by it
        double deficit = 0;  ///< bits that it would save more with the best claim
    };
    /// `place`: bytes from the begin of the frame that the pixels belong to. Of the best claim too,
    /// the metadata begin at the first byte or end at the last where `from` or `to` stand there.
    Verdict judge(std::span<const std::uint8_t> bytes, std::int64_t place, std::int64_t from,
                  std::int64_t to) const;

  private:
    static constexpr std::size_t kMostPhases = 8;
    using Histogram = std::array<double, 256>;

    /// Which byte of a group a byte is; -1 in the padding of rows.
    int phase(std::int64_t place) const;
    /// Bits by which each byte is likelier as metadata than as a pixel.
    std::vector<double> likelihoods(std::span<const std::uint8_t> bytes, std::int64_t place) const;
    void learn(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

    std::int64_t group_, pitch_bits_, row_bytes_;
    std::size_t apart_;  ///< bytes between those of the same kind
    std::array<Histogram, kMostPhases> values_{}, steps_{};
};

}  // namespace frames
