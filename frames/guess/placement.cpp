#include "guess/placement.h"

#include "guess/frame_series.h"
#include "guess/known_sizes.h"
#include "guess/metadata.h"
#include "guess/row_steps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <tuple>

namespace frames {
namespace {

// In bits per byte of the file, like prediction costs: a hundredth settles ties only.
constexpr double kUsualHeader = 0.03;  // of 256, 512, 1024 ... bytes
constexpr double kOtherHeader = 0.12;  // rarer than bytes behind the last frame
constexpr double kShortHeader = 0.14;
constexpr std::int64_t kShortestUsualHeader = 256;
constexpr double kLeftOver = 0.08;
constexpr double kLeftOverOfKnown = 0.1;  // where the height is given
constexpr double kMuchLeftOver = 0.2;
constexpr double kGap = 0.02;
constexpr double kUnusualGap = 0.03;
constexpr double kForeignGap = 0.15;
constexpr double kNoLastGap = 0.02;
constexpr double kManyFrames = 0.02;
constexpr double kKnownSize = -0.12;
constexpr double kFillsFile = -0.06;        // frames of a known size and nothing else
constexpr double kPerDoubledFrames = 0.02;  // small frames fill many files by chance
constexpr double kOddProportions = 0.03;    // no sensor is five times wider than high
constexpr double kPortrait = 0.015;         // sensors are wider than high
constexpr double kOddHeight = 0.01;
constexpr double kWrongSeam = 0.25;
constexpr double kRightSeam = -0.15;
constexpr double kForeignRows = 0.15;  // rows at the begin or end that are no picture
constexpr double kMissedRows = 0.15;   // the picture goes on beyond the begin
constexpr double kForeignEnd = 0.08;   // the same of pieces of rows
constexpr double kMissedEnd = 0.08;
constexpr double kNoJump = 0.12;  // frames begin where the picture goes on
constexpr double kJump = -0.04;
constexpr double kMisread = 0.3;     // metadata that are taken for pixels, or pixels for metadata
constexpr double kHalvesDoubt = 24;  // bits of evidence
constexpr double kSameScene = -0.3;  // each frame shows what the one before showed

constexpr std::int64_t kLongestGap = 65536;
constexpr std::array<std::int64_t, 14> kUsualLengths{16,  32,  48,  64,   80,   96,   128,
                                                     192, 256, 512, 1024, 2048, 4096, 8192};
constexpr std::int64_t kLostFrames = 64;  // fewer than without gaps
constexpr std::size_t kCompared = 14;

bool is_usual(std::int64_t bytes) {
    return std::find(kUsualLengths.begin(), kUsualLengths.end(), bytes) != kUsualLengths.end();
}

/// Chunk data are a few kilobytes at most, in words of 4 bytes.
bool is_chunk(std::int64_t bytes) { return bytes % 4 == 0 && bytes <= kLongestHeader; }

class Placer {
  public:
    Placer(ByteSource& source, std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
           const imgcnv_frame& known)
        : size_(source.size()),
          pitch_(hypothesis.pitch_bits),
          row_(hypothesis.fit->coding.row_bits(hypothesis.width)),
          hypothesis_(hypothesis),
          known_(known),
          source_(source),
          steps_(source, window, hypothesis),
          series_(steps_, hypothesis),
          metadata_(window, hypothesis) {
        const auto& fit = *hypothesis.fit;
        const auto column = steps_.seam(hypothesis.start, size_);
        // Groups do not begin anywhere: a seam within one is none.
        if (column >= 0 && column % fit.coding.group_pixels() == 0)
            seam_ = hypothesis.start + fit.coding.row_bits(column) / 8;
    }

    std::vector<Placement> run() {
        if (known_.height > 0) {
            add_height(known_.height, false);
        } else {
            for (const auto& [width, height] : known_sizes())
                if (width == hypothesis_.width) add_height(height, true);
            add_all_rows();
        }
        sort();
        if (found_.size() > kCompared) found_.resize(kCompared);
        for (auto& placement : found_) compare_content(placement);
        sort();
        return found_;
    }

  private:
    void sort() {
        std::stable_sort(found_.begin(), found_.end(), [](const Placement& a, const Placement& b) {
            return a.penalty < b.penalty;
        });
    }

    bool may_skip(std::int64_t skip) const {
        if (skip < 0 || (known_.skip >= 0 && skip != known_.skip)) return false;
        // Rows begin where the hypothesis has them, or a whole number of groups away.
        const auto& coding = hypothesis_.fit->coding;
        const bool is_tight = pitch_ == row_;
        const auto distance = skip - hypothesis_.start;
        return distance * 8 % pitch_ == 0 || (is_tight && distance % coding.group_bytes() == 0);
    }

    /// Headers that may be in front: none, those of usual lengths, and what makes the rest fit.
    std::vector<std::int64_t> skips(std::int64_t rest_of_length) const {
        std::vector<std::int64_t> list;
        const auto offer = [&](std::int64_t skip) {
            if (may_skip(skip) && skip < size_ &&
                std::find(list.begin(), list.end(), skip) == list.end())
                list.push_back(skip);
        };
        offer(0);
        if (known_.skip >= 0) offer(known_.skip);
        for (const auto usual : kUsualLengths) offer(usual);
        if (rest_of_length <= kLongestHeader) offer(rest_of_length);
        return list;
    }

    void add_height(std::int64_t height, bool is_known_size) {
        const auto bytes = frame_bytes(pitch_, height);
        const auto needed = (pitch_ * (height - 1) + row_ + 7) / 8;
        if (needed > size_) return;
        const auto most = std::max<std::int64_t>(1, size_ / bytes);
        const auto rest = size_ - most * bytes;
        const auto add_with = [&](std::int64_t frames, std::int64_t skip, std::int64_t gap) {
            add({height, frames, skip, gap, 0, is_known_size});
        };
        for (const auto skip : skips(rest)) {
            const auto frames = (size_ - skip) / bytes;
            if (frames > 0)
                add_with(frames, skip, 0);
            else if (size_ - skip >= needed)
                add_with(1, skip, 0);
            // With bytes between frames there are fewer; the gap behind the last may be missing.
            for (auto count = std::max<std::int64_t>(2, frames); count >= 2; --count) {
                const auto left = size_ - skip - count * bytes;
                if (left < 0) continue;
                if (left / count > kLongestGap || frames - count > kLostFrames) break;
                if (left > 0 && left % count == 0) add_with(count, skip, left / count);
                if (left > 0 && left % (count - 1) == 0 && left / (count - 1) <= kLongestGap)
                    add_with(count, skip, left / (count - 1));
            }
        }
    }

    /// Heights that the length gives: all rows as one frame, or frames that jumps tell.
    void add_all_rows() {
        auto begins = skips((size_ * 8 % pitch_) / 8);
        const auto offer = [&](std::int64_t skip) {
            if (skip >= 0 && skip <= kLongestHeader && may_skip(skip) &&
                std::find(begins.begin(), begins.end(), skip) == begins.end())
                begins.push_back(skip);
        };
        if (pitch_ % 8 == 0) {
            const auto pitch = pitch_ / 8;
            const auto phase = pitch == 0 ? 0 : size_ % pitch;
            const auto of_seam = seam_ ? *seam_ % pitch : hypothesis_.start % pitch;
            for (std::int64_t skip = 0; skip <= kLongestHeader; skip += pitch) {
                // Only where a header ends is there a reason to begin behind a whole row.
                for (const auto first : {phase, of_seam}) {
                    const auto at = 8 * (first + skip);
                    const auto step = at >= hypothesis_.lines() * pitch_
                                          ? steps_.step(at - hypothesis_.lines() * pitch_, at)
                                          : RowStep{};
                    if (skip == 0 || !step.is_known() || steps_.is_jump(step)) offer(first + skip);
                }
            }
        }
        // Rows of a stream that begin within a byte, up to the end of the file.
        for (auto bit = size_ * 8 % pitch_; pitch_ % 8 != 0 && bit <= 8 * kLongestHeader;
             bit += pitch_)
            if (const auto skip = bit / 8; may_skip(skip)) {
                const auto step = steps_.step(8 * skip - hypothesis_.lines() * pitch_, 8 * skip);
                if (!step.is_known() || steps_.is_jump(step)) offer(skip);
            }
        for (const auto skip : begins) {
            const auto rows = ((size_ - skip) * 8 - row_) / pitch_ + 1;
            if (rows < kFewestRows) continue;
            add({rows, 1, skip, 0, 0, false});
            if (!is_likely_begin(skip)) continue;
            const auto end = rows_before_trailer(skip, rows);
            if (end != rows) add({end, 1, skip, 0, 0, false});
            for (const auto count :
                 {series_.frames_by_jumps(skip, rows), series_.frames_by_scene(skip, rows)})
                if (count > 1) add({rows / count, count, skip, 0, 0, false});
        }
        add_with_gaps();
    }

    /// The seam, and what fills the file with whole rows, leave few places to begin at.
    bool is_likely_begin(std::int64_t skip) const {
        if (skip == 0) return true;
        if (seam_ && pitch_ % 8 == 0 && (skip - *seam_) % (pitch_ / 8) != 0) return false;
        return (size_ - skip) * 8 % pitch_ < 8;
    }

    /// Rows up to the last jump near the end of the file.
    std::int64_t rows_before_trailer(std::int64_t skip, std::int64_t rows) {
        const auto least = std::max(kFewestRows, rows - 8 * kLongestHeader / pitch_ - 1);
        for (auto y = rows - 1; y > least; --y)
            if (steps_.is_jump(steps_.step(place(skip, y - hypothesis_.lines()), place(skip, y)))) {
                // Of a mosaic, the rows of both colours jump.
                while (y > least &&
                       steps_.is_jump(steps_.step(place(skip, y - 1 - hypothesis_.lines()),
                                                  place(skip, y - 1))))
                    --y;
                return y;
            }
        return rows;
    }

    /// Frames of an unknown height with bytes between them: lengths that divide, and jumps.
    void add_with_gaps() {
        if (known_.gap == 0 || size_ < 4 * kFewestRows * pitch_ / 8) return;
        for (const auto skip : {std::max<std::int64_t>(0, known_.skip)})
            for (std::int64_t count = 2; count <= kMostFrames; ++count)
                for (const auto gap : kUsualLengths) {
                    for (const auto gaps : {count, count - 1}) {
                        const auto all = size_ - skip - gaps * gap;
                        if (all <= 0 || all % count != 0 || all / count * 8 % pitch_ >= 8) continue;
                        const auto height = all / count * 8 / pitch_;
                        if (height < series_.lowest() || height > series_.highest()) continue;
                        const auto step = series_.boundary_step({height, count, skip, gap});
                        if (steps_.is_jump(step) || step.mean > 2 * steps_.nearly_all() ||
                            is_metadata(skip + frame_bytes(pitch_, height), gap, skip))
                            add({height, count, skip, gap, 0, false});
                    }
                }
    }

    bool is_metadata(std::int64_t from, std::int64_t count, std::int64_t begin) {
        const auto bytes = source_.bytes(from, count, room_);
        return metadata_.judge(bytes, from - begin, 0, count).gain > kHalvesDoubt;
    }

    std::int64_t place(std::int64_t skip, std::int64_t row) const {
        return 8 * skip + row * pitch_;
    }

    void add(Placement placement) {
        if (!may_skip(placement.skip)) return;
        if (known_.gap >= 0 && placement.frames > 1 && placement.gap != known_.gap) return;
        if (known_.height == 0 && placement.height < kFewestRows) return;
        const auto bytes = frame_bytes(pitch_, placement.height);
        const auto behind = size_ - placement.skip - placement.frames * bytes;
        placement.left_over = std::max<std::int64_t>(0, behind - placement.frames * placement.gap);
        double& penalty = placement.penalty;
        if (placement.skip > 0 && known_.skip < 0)
            placement.of_skip = is_usual(placement.skip) && placement.skip >= kShortestUsualHeader
                                    ? kUsualHeader
                                : placement.skip < kShortestUsualHeader ? kShortHeader
                                                                        : kOtherHeader;
        penalty += placement.of_skip;
        if (placement.left_over > 0)
            placement.of_left_over =
                placement.left_over <= kLongestHeader && 4 * placement.left_over < bytes
                    ? known_.height > 0 ? kLeftOverOfKnown : kLeftOver
                    : kMuchLeftOver;
        penalty += placement.of_left_over;
        if (placement.gap > 0 && behind < placement.frames * placement.gap) penalty += kNoLastGap;
        if (placement.gap > 0)
            penalty += kGap + (is_usual(placement.gap)   ? 0
                               : is_chunk(placement.gap) ? kUnusualGap
                                                         : kForeignGap);
        if (placement.frames > 1)
            penalty +=
                kManyFrames + kPerDoubledFrames * std::log2(static_cast<double>(placement.frames));
        if (placement.has_known_size) {
            penalty += kKnownSize;
            const bool has_usual_header = placement.skip == 0 || is_usual(placement.skip);
            if (has_usual_header && placement.left_over == 0 && placement.gap == 0)
                penalty += kFillsFile;
        } else if (known_.height == 0) {
            const auto proportion =
                static_cast<double>(hypothesis_.width) / static_cast<double>(placement.height);
            const auto beyond = std::max(proportion / 3, 0.6 / proportion);
            if (beyond > 1) penalty += kOddProportions * (1 + std::log2(beyond));
            if (proportion < 1) penalty += kPortrait;
            if (placement.height % 2 != 0) penalty += kOddHeight;
        }
        const bool is_there =
            std::any_of(found_.begin(), found_.end(), [&](const Placement& other) {
                return other.height == placement.height && other.frames == placement.frames &&
                       other.skip == placement.skip && other.gap == placement.gap;
            });
        if (!is_there) found_.push_back(placement);
    }

    void compare_content(Placement& placement) {
        double& penalty = placement.penalty;
        const auto skip = placement.skip;
        if (seam_ && pitch_ % 8 == 0) {
            const bool is_right = (skip - *seam_) % (pitch_ / 8) == 0;
            penalty += is_right ? kRightSeam : kWrongSeam;
        }
        const auto first_rows =
            std::min(placement.height - hypothesis_.lines(), 8 * kLongestHeader / pitch_);
        for (std::int64_t y = 0; y < first_rows; ++y)
            if (steps_.is_jump(steps_.step(place(skip, y), place(skip, y + hypothesis_.lines())))) {
                penalty += kForeignRows;
                break;
            }
        const auto before = 8 * skip - hypothesis_.lines() * pitch_;
        if (before >= 0 && known_.skip < 0) {
            const auto step = steps_.step(before, 8 * skip);
            if (step.is_known() && !steps_.is_jump(step)) penalty += kMissedRows;
        }
        compare_ends(placement);
        compare_metadata(placement);
        if (known_.height == 0 && placement.frames == 1 &&
            rows_before_trailer(skip, placement.height) != placement.height)
            penalty += kForeignRows;
        if (placement.frames > 1) {
            penalty += kSameScene * series_.scene_likeness(placement);
            const auto step = series_.boundary_step(placement);
            const auto last = skip + (placement.frames - 1) *
                                         (frame_bytes(pitch_, placement.height) + placement.gap);
            if (seam_ && (skip - *seam_) * 8 % pitch_ == 0) {
                const auto column = steps_.seam(last, placement.height);
                if (column != 0) penalty += kWrongSeam;
            }
            if (placement.gap > 0) {
                // Frames of a scene at rest continue each other; the bytes between them do not.
                const auto end =
                    8 * (skip + frame_bytes(pitch_, placement.height)) - (pitch_ - row_);
                const auto pixels =
                    std::min(hypothesis_.fit->coding.widest_row(8 * placement.gap) / 8 * 8,
                             hypothesis_.width);
                const auto between =
                    pixels > 0 ? steps_.step(end + pitch_ - row_ - hypothesis_.lines() * pitch_,
                                             end + pitch_ - row_, pixels)
                               : RowStep{};
                if (between.is_known() && steps_.is_jump(between))
                    penalty += kJump;
                else if (between.is_known() && !placement.is_gap_seen)
                    penalty += kNoJump;
                return;
            }
            const bool is_flat = steps_.mean() <= 0;
            if (steps_.is_jump(step) || steps_.is_shift(step))
                penalty += kJump;
            else if (!is_flat && step.mean < 1.2 * steps_.mean())
                penalty += kNoJump;
        }
    }

    /// Short headers and trailers change a part of a row only: where the frames begin and end, the
    /// picture must too.
    void compare_ends(Placement& placement) {
        constexpr std::int64_t kPixels = 64, kFewest = 8;
        const auto& coding = hypothesis_.fit->coding;
        const auto pixels = std::min(hypothesis_.width, kPixels);
        const auto below = hypothesis_.lines() * pitch_;
        // Whether a piece of `count` pixels continues the piece a row away; nothing: not known.
        const auto continues = [&](std::int64_t piece, std::int64_t other,
                                   std::int64_t count) -> std::optional<bool> {
            const auto step = steps_.step(other, piece, count);
            if (!step.is_known()) return std::nullopt;
            return !steps_.is_jump(step);
        };
        const auto begin = 8 * placement.skip;
        if (continues(begin, begin + below, pixels) == false) placement.penalty += kForeignEnd;
        const auto in_front = std::min(pixels, coding.widest_row(begin)) / kFewest * kFewest;
        const auto front = begin - coding.row_bits(in_front);
        if (in_front > 0 && known_.skip < 0 && continues(front, front + below, in_front) == true)
            placement.penalty += kMissedEnd;

        const auto frame = frame_bytes(pitch_, placement.height);
        const auto end = begin + 8 * (placement.frames * (frame + placement.gap) - placement.gap) -
                         (pitch_ - row_);
        const auto last = end - coding.row_bits(pixels);
        if (hypothesis_.width % kFewest == 0 && continues(last, last - below, pixels) == false)
            placement.penalty += kForeignEnd;
        const auto behind =
            std::min(pixels, coding.widest_row(8 * (placement.left_over + placement.gap))) /
            kFewest * kFewest;
        const auto next = end + pitch_ - row_;
        if (behind > 0 && known_.height == 0 && continues(next, next - below, behind) == true)
            placement.penalty += kMissedEnd;
    }

    /// How much of the doubt in metadata goes away by seeing them: zeros may be dark pixels, too.
    static double certainty(double gain) {
        constexpr double kMost = 0.6;
        return gain > 0 ? kMost * (1 - std::exp2(-gain / kHalvesDoubt)) : 0;
    }

    /// What stands before, between and behind the frames must look like metadata, and the frames
    /// must not. A header that is seen is no guess.
    void compare_metadata(Placement& placement) {
        constexpr std::int64_t kSeen = 4096;
        constexpr double kSure = 16;
        const auto frame = frame_bytes(pitch_, placement.height);
        // The bytes from `from` to `to` are said to be metadata, those around them pixels.
        const auto verdict_on = [&](std::int64_t from, std::int64_t to, std::int64_t begin) {
            const auto first = std::max<std::int64_t>(0, from - kSeen);
            const auto last = std::min({size_, to + kSeen, from + kSeen + kLongestHeader});
            const auto bytes = source_.bytes(first, last - first, room_);
            return metadata_.judge(bytes, first - begin, from - first, to - first);
        };
        const auto judge = [&](std::int64_t from, std::int64_t to, std::int64_t begin) {
            const auto verdict = verdict_on(from, to, begin);
            placement.penalty += kMisread * (1 - std::exp2(-verdict.deficit / kHalvesDoubt));
            placement.is_explained &= from == to || verdict.gain > kSure;
            return verdict.gain;
        };
        const auto skip = placement.skip;
        if (known_.skip < 0) {
            const auto gain = judge(0, skip, skip);
            placement.penalty -= placement.of_skip * certainty(gain);
        }
        const auto last = skip + (placement.frames - 1) * (frame + placement.gap);
        if (last + frame <= size_) {
            const auto gain = judge(last + frame, size_, last);
            placement.penalty -= placement.of_left_over * certainty(gain);
        }
        // Where frames follow each other, their dark borders would look like metadata, too: that
        // such bytes go on beyond the gap says less than what is in it.
        if (placement.frames < 2 || placement.gap == 0) return;
        const auto begin = skip + frame;
        const auto verdict = verdict_on(begin, begin + placement.gap, skip);
        placement.is_gap_seen = verdict.gain > kSure;
        placement.is_explained &= placement.is_gap_seen;
        const double misread = kMisread * (1 - std::exp2(-verdict.deficit / kHalvesDoubt));
        placement.penalty += placement.is_gap_seen ? misread / 2 : misread;
    }

    std::int64_t size_, pitch_, row_;
    const Hypothesis& hypothesis_;
    const imgcnv_frame& known_;
    ByteSource& source_;
    std::vector<std::uint8_t> room_;
    RowSteps steps_;
    FrameSeries series_;
    Metadata metadata_;
    std::optional<std::int64_t> seam_;  ///< a byte of the file at which a row begins
    std::vector<Placement> found_;
};

}  // namespace

std::int64_t frame_bytes(std::int64_t pitch_bits, std::int64_t height) {
    return (pitch_bits * height + 7) / 8;
}

std::vector<Placement> place_frames(ByteSource& source, std::span<const std::uint8_t> window,
                                    const Hypothesis& hypothesis, const imgcnv_frame& known) {
    return Placer(source, window, hypothesis, known).run();
}

}  // namespace frames
