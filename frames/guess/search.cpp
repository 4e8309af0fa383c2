#include "guess/search.h"

#include "guess/channels.h"
#include "guess/coding_choice.h"
#include "guess/evenness.h"
#include "guess/known_sizes.h"
#include "guess/metadata.h"
#include "guess/mosaic_sites.h"
#include "guess/padding.h"
#include "guess/row_pitch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace frames {
namespace {

// In bits per byte of the file. A difference of half a bit is clear, one of a hundredth is noise:
// the constants only settle ties.
constexpr double kOddWidth = 0.02;  // sensors have even ones, mostly multiples of 4
constexpr double kPaddingTaken = 0.005;
constexpr double kPaddingOfARow = 0.05;  // as long as the row: rather several frames
constexpr double kPaddingSeen = 0.1;     // columns of one value at the end of all rows
// Nobody takes words for 8 bits and shifts them: they are small numbers in the other byte order.
constexpr double kEmptyByte = 0.05;
constexpr double kMosaic = 0.01;           // noise looks the same through both
constexpr double kMayFitKnownSize = -0.1;  // behind a header of another length
constexpr double kFillsFile = -0.06;
constexpr double kClearPitch = -0.12;
constexpr double kNarrow = 0.15;  // per halving below kUsuallyWider pixels
constexpr std::int64_t kUsuallyWider = 128;
constexpr double kUnalignedStride = 0.05;

constexpr std::size_t kPitches = 10;
constexpr std::int64_t kNear = 16;
constexpr std::size_t kSlanted = 6;         // pitches that are looked for a pixel or two aside
constexpr std::int64_t kSmallest = 16;      // width and height, unless given
constexpr std::int64_t kRowsOfPixels = 10;  // no stride is longer
constexpr std::int64_t kLongestChunk = 4096;
constexpr std::array<std::int64_t, 6> kUsualHeaders{0, 256, 512, 1024, 2048, 4096};

class Search {
  public:
    Search(ByteSource& source, std::span<const std::uint8_t> window, const imgcnv_frame& known,
           std::vector<CodingFit>& fits)
        : source_(source), window_(window), size_(source.size()), known_(known), fits_(fits) {}

    std::vector<Candidate> run() {
        auto choice = choose_codings(window_, size_, known_);
        fits_ = std::move(choice.fits);
        is_noise_ = choice.is_noise;
        if (is_noise_) return of_noise();
        if (known_.width == 0) find_clear_pitches();
        for (const auto& fit : fits_) known_.width > 0 ? add_of_width(fit) : add_of_any_width(fit);
        // Few samples tell most candidates from the best ones, which are worth more.
        weigh(2 * 1024, 0, 64, 1.2);
        for (auto& candidate : candidates_)
            candidate.rank += against_channels(window_, candidate.hypothesis) +
                              against_evenness(window_, candidate.hypothesis);
        weigh(6 * 1024, 1, 32, 0.8);
        add_against_mosaic();
        weigh(16 * 1024, 2, 18, 0.6);
        weigh(32 * 1024, 4, 12, 0.5);
        return placed();
    }

  private:
    /// Nothing tells how long the rows of noise are: only readings are weighed that explain the
    /// length of the file.
    std::vector<Candidate> of_noise() {
        constexpr std::size_t kPlaced = 48;
        for (const auto& fit : fits_)
            if (known_.width > 0)
                add_of_width(fit);
            else
                for (const auto& [width, height] : known_sizes())
                    if (known_.height == 0 || known_.height == height) {
                        if (const auto row = fit.coding.row_bits(width);
                            explains_length(row, height))
                            add_at_starts(fit, width, row, 0, doubt_in_small(row, height));
                        add_padded(fit, width, height);
                    }
        if (known_.height > 0)
            std::erase_if(candidates_, [&](const Candidate& candidate) {
                return !explains_length(candidate.hypothesis.pitch_bits, known_.height);
            });
        weigh(4 * 1024, 0, candidates_.size(), 1.2);
        // A coder writes pixels in their own bits at most: what costs more has padding of noise.
        if (known_.width == 0)
            std::erase_if(candidates_, [](const Candidate& one) { return one.cost > 8; });
        if (candidates_.size() > kPlaced) candidates_.resize(kPlaced);
        for (auto& candidate : candidates_)
            candidate.rank += against_channels(window_, candidate.hypothesis);
        add_against_mosaic();
        return placed();
    }

    void add_against_mosaic() {
        for (auto& candidate : candidates_)
            if (candidate.hypothesis.fit->coding.may_be_mosaic()) {
                candidate.rank_of_sites =
                    against_sites(candidate.hypothesis, candidate.hypothesis.start, known_.height);
                // Behind a header rows begin elsewhere; read from byte 0 on, each holds the ends
                // of two, whose sites differ.
                if (candidate.hypothesis.is_mosaic && known_.skip < 0)
                    for (const auto header : kUsualHeaders)
                        if (header < size_ &&
                            (size_ - header) * 8 % candidate.hypothesis.pitch_bits == 0)
                            candidate.rank_of_sites = std::min(
                                candidate.rank_of_sites,
                                against_sites(candidate.hypothesis, header, known_.height));
                candidate.rank += candidate.rank_of_sites;
            }
    }

    /// Whether the frame that begins behind `skip` bytes should be a mosaic. Rows that begin within
    /// one of the frame, or go on in the next frame, would exchange its sites. `height`: 0 where it
    /// is not known.
    double against_sites(Hypothesis hypothesis, std::int64_t skip, std::int64_t height) {
        hypothesis.start = skip;
        auto end = static_cast<std::int64_t>(window_.size());
        if (height > 0) end = std::min(end, skip + frame_bytes(hypothesis.pitch_bits, height));
        const auto [place, is_new] = sites_.try_emplace(
            {hypothesis.fit, hypothesis.width, hypothesis.pitch_bits, skip, end});
        if (is_new)
            place->second = mosaic_sites(window_.first(static_cast<std::size_t>(end)), hypothesis);
        return place->second.against(hypothesis.is_mosaic);
    }

    /// Many small frames fill files by chance.
    double doubt_in_small(std::int64_t row, std::int64_t height) const {
        const auto frames =
            static_cast<double>(size_) / static_cast<double>(frame_bytes(row, height));
        return 0.03 * std::log2(std::max(1.0, frames));
    }

    /// Whether frames fill the file but for a header, a trailer or as many bytes behind each.
    bool explains_length(std::int64_t row, std::int64_t height) const {
        const auto bytes = frame_bytes(row, height);
        if (bytes > size_) return false;
        const auto count = size_ / bytes, rest = size_ - count * bytes;
        if (rest == 0 || fits_behind_header(bytes)) return true;
        if (count == 1) return rest <= kLongestHeader && 20 * rest <= bytes;
        return rest % count == 0 && rest / count % 16 == 0 && rest / count <= kLongestChunk;
    }

    /// Dips of the lag profile, half of them (mosaics dip deepest at two rows), and what is near to
    /// either and divides the file: slanted edges draw a dip aside.
    const PitchCandidates& pitches(const CodingFit& fit) {
        const auto& coding = fit.coding;
        const bool has_own = coding.format->depth != 8;
        // Rows of a stream that end within a byte are seen in whole samples only.
        const auto phase = coding.is_stream() ? fit.phase : 0;
        auto& found = pitches_[{has_own ? coding.format : nullptr, coding.big_endian, phase}];
        auto& list = found.bits;
        if (!list.empty()) return found;
        std::set<std::int64_t> seen;
        const auto offer = [&](std::int64_t pitch) {
            if (pitch > 0 && seen.insert(pitch).second) list.push_back(pitch);
        };
        const auto unit = coding.is_stream() ? coding.format->depth : 8;
        const auto pixel = std::max<std::int64_t>(8, coding.format->bits_per_pixel);
        const auto dips = pitch_candidates(window_, fit, size_, kPitches);
        found.clear = dips.clear;
        for (const auto dip : dips.bits)
            for (const auto lag : {dip, dip / 2 / unit * unit}) {
                offer(lag);
                if (list.size() < kSlanted)
                    for (const auto aside : {-2, -1, 1, 2}) offer(lag + aside * pixel);
                for (auto near = lag - kNear * unit; near <= lag + kNear * unit; near += unit)
                    if (near > 0 && fills_file(near)) offer(near);
            }
        if (list.empty()) list.push_back(8);
        return found;
    }

    bool fills_file(std::int64_t pitch) const {
        return std::any_of(kUsualHeaders.begin(), kUsualHeaders.end(), [&](std::int64_t header) {
            return header < size_ && (size_ - header) * 8 % pitch < 8;
        });
    }

    void add(const CodingFit& fit, std::int64_t width, std::int64_t pitch, std::int64_t start,
             double penalty, double expected_penalty = 0) {
        if (!are_possible_rows(fit, width, pitch)) return;
        start %= std::max<std::int64_t>(1, pitch / 8);
        if (known_.skip >= 0) start = known_.skip;
        // Bits that are found to be unused are those of words at the coding's phase.
        if (fit.dropped_bits > 0 && fit.coding.is_words() && (start - fit.phase) % 2 != 0) return;
        for (const bool is_mosaic : {false, true}) {
            if (is_mosaic && !fit.coding.may_be_mosaic()) continue;
            if (known_.format != 0 && is_mosaic != is_mosaic_known()) continue;
            const auto [place, is_new] = seen_.insert(
                {{fit.coding.format, fit.coding.big_endian, is_mosaic, width, pitch, start},
                 candidates_.size()});
            if (!is_new) {
                auto& other = candidates_[place->second];
                other.expected_penalty = std::min(other.expected_penalty, expected_penalty);
                continue;
            }
            const Hypothesis hypothesis{&fit, is_mosaic, width, pitch, start};
            candidates_.push_back(
                {hypothesis, {}, 0, first_rank(hypothesis, penalty), expected_penalty});
        }
    }

    /// Whether rows of this width may follow each other at this distance.
    bool are_possible_rows(const CodingFit& fit, std::int64_t width, std::int64_t pitch) const {
        const auto row = fit.coding.row_bits(width);
        const auto narrowest = known_.width > 0 ? 1 : kSmallest;
        if (width < narrowest || row > pitch || pitch > kRowsOfPixels * row) return false;
        if (known_.stride > 0 && pitch != 8 * known_.stride) return false;
        // Padded rows begin at whole bytes, words at even ones.
        if (pitch != row && pitch % (fit.coding.is_words() ? 16 : 8) != 0) return false;
        return known_.height > 0 || pitch * kSmallest <= 8 * size_;
    }

    /// What speaks for and against a hypothesis before its pixels are looked at.
    double first_rank(const Hypothesis& hypothesis, double penalty) const {
        const auto& fit = *hypothesis.fit;
        const auto width = hypothesis.width, pitch = hypothesis.pitch_bits;
        double rank = penalty + rarity(fit.coding);
        if (hypothesis.is_mosaic) rank += kMosaic;
        if (fit.has_empty_byte) rank += kEmptyByte;
        if (is_clear_pitch(fit, pitch, hypothesis.is_mosaic)) rank += kClearPitch;
        if (pitch != fit.coding.row_bits(width) && pitch % 32 != 0 && known_.stride == 0)
            rank += kUnalignedStride;
        if (known_.width > 0) return rank;
        if (width < kUsuallyWider)
            rank += kNarrow *
                    std::log2(static_cast<double>(kUsuallyWider) / static_cast<double>(width));
        if (width % 2 != 0) rank += kOddWidth;
        if (width % 4 != 0) rank += kOddWidth / 2;
        return rank;
    }

    /// Slanted edges draw the clear distance a pixel or two aside.
    bool is_clear_pitch(const CodingFit& fit, std::int64_t pitch, bool is_mosaic) const {
        const auto near = 3 * std::max<std::int64_t>(8, fit.coding.format->bits_per_pixel);
        return std::any_of(clear_pitches_.begin(), clear_pitches_.end(), [&](std::int64_t clear) {
            return std::abs(pitch - clear) <= near ||
                   (is_mosaic && std::abs(2 * pitch - clear) <= near);
        });
    }

    /// A distance that one coding shows is one of the bytes and speaks for all codings.
    void find_clear_pitches() {
        for (const auto& fit : fits_)
            if (const auto clear = pitches(fit).clear; clear > 0) clear_pitches_.insert(clear);
    }

    bool is_mosaic_known() const {
        const auto* format = format_of_code(known_.format);
        return format != nullptr && is_mosaic(*format);
    }

    /// Where rows of a pitch may begin: tight rows of whole groups anywhere at the coding's phase,
    /// others at byte 0 or behind a header.
    void add_at_starts(const CodingFit& fit, std::int64_t width, std::int64_t pitch, double penalty,
                       double expected_penalty = 0) {
        const auto group = 8 * fit.coding.group_bytes();
        const bool is_tight = pitch == fit.coding.row_bits(width);
        if (is_tight && (fit.coding.is_stream() || pitch % group == 0)) {
            add(fit, width, pitch, fit.phase, penalty, expected_penalty);
            return;
        }
        for (const auto header : kUsualHeaders)
            if (header == 0 || (header < size_ && (size_ - header) * 8 % pitch == 0))
                add(fit, width, pitch, header, penalty, expected_penalty);
        // Behind any header, rows that end with the file.
        if (pitch % 8 == 0) add(fit, width, pitch, size_ % (pitch / 8), penalty, expected_penalty);
    }

    /// The row begins behind a header that leaves a frame of this size.
    void add_behind_header(const CodingFit& fit, std::int64_t width, std::int64_t height,
                           double expected_penalty) {
        const auto row = fit.coding.row_bits(width);
        const auto header = size_ - frame_bytes(row, height);
        if (header > 0 && header <= kLongestHeader)
            add(fit, width, row, header, 0, expected_penalty);
    }

    void add_pitch(const CodingFit& fit, std::int64_t pitch) {
        if (pitch < 64 || pitch > 4 * size_) return;
        const auto& coding = fit.coding;
        add_at_starts(fit, coding.widest_row(pitch), pitch, 0);
        if (pitch % 8 != 0) return;
        for (const auto& columns : padding(pitch / 8)) {
            const auto width = coding.widest_row(pitch - 8 * columns.count);
            const auto start = columns.end() % (pitch / 8);
            // More than a quarter of a row is rather the dark border of a picture, unless rows
            // begin at multiples of what memory is read in.
            const bool is_border = 4 * columns.count > pitch / 8 && pitch % (8 * 64) != 0;
            // So is the white one of a page.
            const double penalty = kPaddingTaken + (is_border           ? kPaddingSeen
                                                    : columns.are_zeros ? -kPaddingSeen
                                                                        : 0);
            add(fit, width, pitch, start, penalty);
            // The picture's last bytes may have the value of the padding.
            for (const auto& [known_width, height] : known_sizes())
                if (known_width > width && coding.row_bits(known_width) < pitch &&
                    size_ >= frame_bytes(pitch, height))
                    add(fit, known_width, pitch, start, penalty);
        }
    }

    const std::vector<ConstantColumns>& padding(std::int64_t pitch) {
        const auto [place, is_new] = padding_.try_emplace(pitch);
        if (is_new) place->second = constant_columns(window_, pitch);
        return place->second;
    }

    void add_of_any_width(const CodingFit& fit) {
        if (known_.stride > 0) add_pitch(fit, 8 * known_.stride);
        for (const auto& [width, height] : known_sizes()) {
            if (known_.height > 0 && known_.height != height) continue;
            const auto row = fit.coding.row_bits(width);
            const auto bytes = frame_bytes(row, height);
            if (bytes > size_) continue;
            const auto count = size_ / bytes, rest = size_ - count * bytes;
            const bool has_gaps = count > 1 && rest % count == 0 && rest / count % 4 == 0 &&
                                  rest / count <= kLongestChunk;
            const bool fits = (has_gaps && fit.phase == 0) || fits_behind_header(bytes, &fit);
            if (rest <= 2 * kLongestHeader || has_gaps)
                add_at_starts(fit, width, row, 0, fits ? kFitsKnownSize : kMayFitKnownSize);
            add_behind_header(fit, width, height, kMayFitKnownSize);
            add_padded(fit, width, height);
        }
        for (const auto pitch : pitches(fit).bits) add_pitch(fit, pitch);
        add_rectangles(fit);
    }

    /// Frames of a known size whose rows are padded so that they fill the file.
    void add_padded(const CodingFit& fit, std::int64_t width, std::int64_t height) {
        const auto row = fit.coding.row_bits(width);
        const auto offer = [&](std::int64_t pitch) {
            const auto padded = frame_bytes(pitch, height);
            if (pitch > row && 4 * pitch < 5 * row + 8 * 64 && padded <= size_ &&
                size_ % padded == 0)
                add_at_starts(fit, width, pitch, kPaddingTaken, kFitsKnownSize);
        };
        for (std::int64_t unit = 32; unit <= 4096; unit *= 2) offer((row + unit - 1) / unit * unit);
        if (size_ % height == 0) offer(8 * (size_ / height));
    }

    /// Tight frames of usual proportions, one or a few, that fill the file: noise, or the letters
    /// of a page, may hide how long rows are.
    void add_rectangles(const CodingFit& fit) {
        constexpr double kHighest = 0.7, kWidest = 2.5;
        constexpr std::int64_t kFrames = 5;
        for (std::int64_t frames = 1; frames <= kFrames; ++frames) {
            const auto area =
                8.0 * static_cast<double>(size_ / frames) / fit.coding.format->bits_per_pixel;
            const auto widest = static_cast<std::int64_t>(std::sqrt(kWidest * area));
            auto width = static_cast<std::int64_t>(std::sqrt(kHighest * area));
            for (; width <= widest; ++width)
                if (const auto row = fit.coding.row_bits(width);
                    size_ * 8 % row < 8 && size_ * 8 / row % frames == 0 &&
                    fit.coding.widest_row(row) == width)
                    add_at_starts(fit, width, row, 0,
                                  frames == 1 && fit.phase == 0 ? kFillsFile : 0);
        }
    }

    /// Whether frames fill the file behind a usual header; with a fit: behind one after which the
    /// groups lie where the fit has them.
    bool fits_behind_header(std::int64_t frame, const CodingFit* fit = nullptr) const {
        return std::any_of(kUsualHeaders.begin(), kUsualHeaders.end(), [&](std::int64_t header) {
            return header < size_ && (size_ - header) % frame == 0 &&
                   (fit == nullptr || (header - fit->phase) % fit->coding.group_bytes() == 0);
        });
    }

    /// Frames of the width that is known, with the pitches that they may have.
    void add_of_width(const CodingFit& fit) {
        const auto row = fit.coding.row_bits(known_.width);
        add_of_width(fit, row);
        if (known_.height > 0 && known_.stride == 0)
            add_behind_header(fit, known_.width, known_.height, 0);
        if (known_.stride > 0) return add_of_width(fit, 8 * known_.stride);
        if (known_.height > 0) add_of_size(fit);
        for (std::int64_t unit = 8; unit <= 8 * 1024; unit *= 2)
            add_of_width(fit, (row + unit - 1) / unit * unit);
        if (is_noise_) return;
        for (const auto pitch : pitches(fit).bits)
            if (pitch > row && pitch < 3 * row) add_of_width(fit, pitch);
    }

    /// One frame of the size that is known whose padded rows fill the file.
    void add_of_size(const CodingFit& fit) {
        const auto height = known_.height;
        const auto row = fit.coding.row_bits(known_.width);
        for (const auto header : kUsualHeaders)
            if (size_ > header && (size_ - header) % height == 0)
                add_of_width(fit, (size_ - header) / height * 8);
        // The padding of the last row may be missing.
        if (height > 1 && size_ > row / 8 && (size_ - (row + 7) / 8) % (height - 1) == 0)
            add_of_width(fit, (size_ - (row + 7) / 8) / (height - 1) * 8);
    }

    void add_of_width(const CodingFit& fit, std::int64_t pitch) {
        const auto height = known_.height;
        const auto row = fit.coding.row_bits(known_.width);
        if (height > 0 && (pitch * (height - 1) + row + 7) / 8 > size_) return;
        if (pitch == row) return add_at_starts(fit, known_.width, pitch, 0);
        if (pitch < row || pitch % 8 != 0) return;
        double penalty = kPaddingTaken + kPaddingOfARow * static_cast<double>(pitch - row) /
                                             static_cast<double>(row);
        // Columns that are no wider than what the row leaves are its padding.
        for (const auto& columns : padding(pitch / 8))
            if (std::abs(8 * columns.count - (pitch - row)) < 32)
                add(fit, known_.width, pitch, columns.end() % (pitch / 8), penalty - kPaddingSeen);
            else if (8 * columns.end() == pitch && 8 * columns.count > pitch - row + row / 16)
                penalty += kPaddingSeen;  // taken for pixels
        add_at_starts(fit, known_.width, pitch, penalty);
    }

    /// Keeps the best `kept` candidates, of which none is `margin` bits worse than the best.
    void weigh(std::int64_t samples, int directions, std::size_t kept, double margin) {
        for (auto& candidate : candidates_) {
            candidate.rank -= candidate.cost;
            candidate.cost = prediction_cost(window_, candidate.hypothesis, samples, directions);
            candidate.rank += candidate.cost;
        }
        std::stable_sort(candidates_.begin(), candidates_.end(), [](const auto& a, const auto& b) {
            return a.rank + a.expected_penalty < b.rank + b.expected_penalty;
        });
        if (candidates_.size() > kept) candidates_.resize(kept);
        while (!candidates_.empty() &&
               candidates_.back().rank + candidates_.back().expected_penalty >
                   candidates_.front().rank + margin)
            candidates_.pop_back();
    }

    std::vector<Candidate> placed() {
        constexpr std::size_t kOfOne = 4;
        std::vector<Candidate> found;
        for (auto& candidate : candidates_) {
            const auto places = place_frames(source_, window_, candidate.hypothesis, known_);
            for (std::size_t i = 0; i < std::min(places.size(), kOfOne); ++i) {
                auto one = candidate;
                one.placement = places[i];
                one.rank += places[i].penalty;
                if (one.hypothesis.fit->coding.may_be_mosaic())
                    one.rank +=
                        against_sites(one.hypothesis, one.placement.skip, one.placement.height) -
                        one.rank_of_sites;
                if (known_.width == 0)
                    one.hypothesis.width =
                        width_without_padding(window_, one.hypothesis, one.placement);
                found.push_back(one);
            }
        }
        std::stable_sort(found.begin(), found.end(),
                         [](const auto& a, const auto& b) { return a.rank < b.rank; });
        return found;
    }

    ByteSource& source_;
    std::span<const std::uint8_t> window_;
    std::int64_t size_;
    const imgcnv_frame& known_;
    std::vector<CodingFit>& fits_;
    bool is_noise_ = false;  ///< whether no coding predicts anything
    std::vector<Candidate> candidates_;
    std::map<std::tuple<const Format*, bool, bool, std::int64_t, std::int64_t, std::int64_t>,
             std::size_t>
        seen_;
    std::map<std::tuple<const Format*, bool, std::int64_t>, PitchCandidates> pitches_;
    /// By coding, width, pitch, begin and end.
    std::map<std::tuple<const CodingFit*, std::int64_t, std::int64_t, std::int64_t, std::int64_t>,
             MosaicSites>
        sites_;
    std::set<std::int64_t> clear_pitches_;  ///< in bits, where the width is not known
    std::map<std::int64_t, std::vector<ConstantColumns>> padding_;  ///< by pitch in bytes
};

}  // namespace

std::vector<Candidate> search(ByteSource& source, std::span<const std::uint8_t> window,
                              const imgcnv_frame& known, std::vector<CodingFit>& fits) {
    return Search(source, window, known, fits).run();
}

}  // namespace frames
