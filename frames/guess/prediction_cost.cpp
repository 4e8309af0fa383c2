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

constexpr double kUncoded = 8;  // bits per byte that a coder writes as it is
constexpr double kImpossible = 9;
constexpr double kFewForeign = 0.02;  // of the groups: headers and chunks have such bytes
constexpr std::int64_t kLongestPiece = 160, kPieceUnit = 8;  // pixels of a row
constexpr std::int64_t kFewestPieces = 16;
constexpr double kMostOfPadding = 1, kNoisyPadding = 0.1;  // bits per byte
constexpr double kFewFilled = 0.02, kFilledPadding = 0.08, kFilledRow = 0.3;

/// Codes samples of a frame by what pieces of rows above and beside them predict, and counts bits.
class PredictionCost {
  public:
    PredictionCost(std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
                   int directions)
        : window_(window),
          hypothesis_(hypothesis),
          pixels_(has_few_bits() ? coding().format->depth : 1) {
        bits_ = 8 * (std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach) -
                     hypothesis.start);
        used_ = coding().row_bits(hypothesis.width);
        pitch_ = hypothesis.pitch_bits;
        step_ = hypothesis.is_mosaic ? 2 : 1;
        if (used_ <= pitch_ && bits_ >= used_) rows_ = (bits_ - used_) / pitch_ + 1;
        has_enough_ = rows_ > step_ && hypothesis.width > (2 * directions + 1) * step_;
        if (!has_enough_) return;
        for (std::size_t i = 0; i < kPlanes; ++i)
            planes_.emplace_back(*hypothesis.fit, static_cast<std::size_t>(step_),
                                 i == 0 ? directions : 0);
    }

    /// Bits per byte of the file.
    double bits(std::int64_t samples) {
        if (!has_enough_) return kUncoded;
        const auto taken = std::min(hypothesis_.width, kLongestPiece);
        const auto pieces = std::max(kFewestPieces, samples / taken);
        for (std::int64_t i = 0; i < pieces; ++i) {
            const auto y = add_pixels(i, taken);
            add_padding(i, y);
        }
        if (static_cast<double>(foreign_) > 2 * kFewForeign * static_cast<double>(groups_))
            return kImpossible;
        std::array<double, kPlanes> bits_of_planes{};
        for (std::size_t i = 0; i < kPlanes; ++i) bits_of_planes[i] = planes_[i].bits();
        double sum = sum_of_planes(row_, bits_of_planes) + pixels_.bits();
        sum *= static_cast<double>(hypothesis_.width) / static_cast<double>(taken);
        const auto of_padding =
            padding_taken_ > 0 ? padding_.bits() / static_cast<double>(padding_taken_) : 0;
        sum += of_padding * static_cast<double>(padding_all_);
        return std::min(kUncoded, sum / (static_cast<double>(pieces * pitch_) / 8)) +
               against_padding(of_padding);
    }

  private:
    const Coding& coding() const { return hypothesis_.fit->coding; }
    bool has_few_bits() const { return coding().format->depth <= 4; }
    std::int64_t place(std::int64_t y) const { return 8 * hypothesis_.start + y * pitch_; }

    /// Adds `taken` pixels and returns the row in which they begin. Pieces of rows come from places
    /// that are the same for all hypotheses, so that all are weighed with the same part of the
    /// picture.
    std::int64_t add_pixels(std::int64_t piece, std::int64_t taken) {
        // The golden ratio spreads places evenly without a period that rows could share.
        const auto part = 0.618033988749895 * static_cast<double>(piece);
        const auto bit =
            static_cast<std::int64_t>((part - std::floor(part)) * static_cast<double>(bits_));
        const auto y = std::clamp(bit / pitch_, step_, rows_ - 1);
        // Pieces go on in the next row, so that no column counts more than others.
        const auto from = bit % pitch_ * hypothesis_.width / pitch_ / kPieceUnit * kPieceUnit;
        const auto in_first = std::min(taken, hypothesis_.width - from);
        add_piece(y, from, in_first);
        if (in_first < taken) add_piece(y + 1 < rows_ ? y + 1 : step_, 0, taken - in_first);
        return y;
    }

    void add_piece(std::int64_t y, std::int64_t x, std::int64_t count) {
        const auto from = place(y) + coding().row_bits(x);
        const auto dropped = hypothesis_.fit->dropped_bits;
        split_row(coding(), window_.data(), from, count, dropped, row_);
        split_row(coding(), window_.data(), from - step_ * pitch_, count, dropped, above_);
        count_foreign(from, count);
        if (has_few_bits()) return pixels_.add_row(row_.planes[0], above_.planes[0]);
        for (std::size_t i = 0; i < kPlanes; ++i)
            if (!row_.planes[i].empty()) planes_[i].add_row(row_.planes[i], above_.planes[i]);
    }

    /// GigE Vision's packing of 10 bits leaves four bits of every third byte out: counts the bytes
    /// that have them.
    void count_foreign(std::int64_t from, std::int64_t count) {
        const bool has_unused =
            coding().format->layout == IMGCNV_LAYOUT_PACKED && coding().format->depth == 10;
        // Behind a header, and before bytes between frames may have moved the groups.
        const auto first = 8 * hypothesis_.start + std::min(8 * kLongestHeader, bits_ / 4);
        if (!has_unused || from < first || from >= first + bits_ / 6) return;
        for (std::int64_t i = 1; i + 1 < count * 3 / 2; i += 3, ++groups_)
            foreign_ += (window_[static_cast<std::size_t>(from / 8 + i)] & 0xCC) != 0;
    }

    /// Adds what lies between the end of a row's pixels and the next row; of long paddings a part
    /// that moves from row to row.
    void add_padding(std::int64_t piece, std::int64_t y) {
        const auto first = (place(y) + used_ + 7) / 8;
        const auto end = std::min((place(y) + pitch_) / 8, bits_ / 8 + hypothesis_.start);
        const auto taken = std::min(end - first, kLongestPiece);
        if (taken <= 0) return;
        const auto begin = first + piece * kLongestPiece % (end - first - taken + 1);
        for (auto at = begin; at < begin + taken; ++at) {
            const auto over = at - step_ * pitch_ / 8;
            filled_ += window_[static_cast<std::size_t>(at)] != 0;
            padding_.add(static_cast<std::int8_t>(window_[static_cast<std::size_t>(at)] -
                                                  window_[static_cast<std::size_t>(over)]),
                         0);
        }
        padding_taken_ += taken;
        padding_all_ += end - first;
    }

    /// Cameras and drivers fill up rows with zeros, seldom with what was there before, never with
    /// noise.
    double against_padding(double bits_per_byte) const {
        double bits = bits_per_byte > kMostOfPadding ? kNoisyPadding : 0;
        if (static_cast<double>(filled_) > kFewFilled * static_cast<double>(padding_taken_))
            bits += 2 * (pitch_ - used_) > used_ ? kFilledRow : kFilledPadding;
        return bits;
    }

    std::span<const std::uint8_t> window_;
    const Hypothesis& hypothesis_;
    std::int64_t bits_ = 0;  ///< from the first row to the end of what is looked at
    std::int64_t used_ = 0, pitch_ = 0, rows_ = 0;
    std::int64_t step_ = 1;  ///< rows and pixels between samples of one colour
    bool has_enough_ = false;
    std::vector<PlaneBits> planes_;
    PixelBits pixels_;  ///< instead of planes, where samples have few bits
    RowSamples row_, above_;
    std::int64_t foreign_ = 0, groups_ = 0;
    ErrorBits padding_;
    std::int64_t padding_taken_ = 0, padding_all_ = 0, filled_ = 0;
};

}  // namespace

double prediction_cost(std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
                       std::int64_t samples, int directions) {
    return PredictionCost(window, hypothesis, directions).bits(samples);
}

}  // namespace frames
