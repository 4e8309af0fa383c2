#include "guess/placement_content.h"

#include <algorithm>
#include <cmath>

namespace frames {
namespace {

// In bits per byte of the file, like prediction costs.
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
constexpr double kSeen = 16;         // bits of evidence that leave no doubt
constexpr double kSameScene = -0.3;  // each frame shows what the one before showed

/// How much of the doubt in metadata goes away by seeing them: zeros may be dark pixels, too.
double certainty(double gain) {
    constexpr double kMost = 0.6;
    return gain > 0 ? kMost * (1 - std::exp2(-gain / kHalvesDoubt)) : 0;
}

double against_claim(const Metadata::Verdict& verdict) {
    return kMisread * (1 - std::exp2(-verdict.deficit / kHalvesDoubt));
}

}  // namespace

PlacementContent::PlacementContent(ByteSource& source, std::span<const std::uint8_t> window,
                                   const Hypothesis& hypothesis, const imgcnv_frame& known)
    : hypothesis_(hypothesis),
      known_(known),
      source_(source),
      size_(source.size()),
      pitch_(hypothesis.pitch_bits),
      padding_(pitch_ - hypothesis.fit->coding.row_bits(hypothesis.width)),
      period_(hypothesis.color_period() * pitch_),
      steps_(source, window, hypothesis),
      series_(steps_, hypothesis),
      metadata_(window, hypothesis) {
    const auto& coding = hypothesis.fit->coding;
    const auto column = steps_.seam(hypothesis.start, size_);
    // Groups do not begin anywhere: a seam within one is none.
    if (column >= 0 && column % coding.group_pixels() == 0)
        seam_ = hypothesis.start + coding.row_bits(column) / 8;
}

bool PlacementContent::may_begin_at(std::int64_t bit) {
    const auto step = steps_.step(bit - period_, bit);
    return !step.is_known() || steps_.is_jump(step);
}

/// Whether a row does not continue those above it.
bool PlacementContent::is_jump(std::int64_t skip, std::int64_t row) {
    return steps_.is_jump(steps_.step(place(skip, row) - period_, place(skip, row)));
}

std::int64_t PlacementContent::rows_before_trailer(std::int64_t skip, std::int64_t rows) {
    const auto least = std::max(kFewestRows, rows - 8 * kLongestHeader / pitch_ - 1);
    auto y = rows - 1;
    while (y > least && !is_jump(skip, y)) --y;
    if (y <= least) return rows;
    // Of a mosaic, the rows of both colours jump.
    while (y > least && is_jump(skip, y - 1)) --y;
    return y;
}

bool PlacementContent::are_parted(const Placement& placement) {
    const auto step = series_.boundary_step(placement);
    if (steps_.is_jump(step) || step.mean > 2 * steps_.nearly_all()) return true;
    const auto end = placement.skip + frame_bytes(pitch_, placement.height);
    const auto gap = source_.bytes(end, placement.gap, room_);
    return metadata_.judge(gap, end - placement.skip, 0, placement.gap).gain > kHalvesDoubt;
}

void PlacementContent::weigh(Placement& placement) {
    if (seam_ && pitch_ % 8 == 0)
        placement.penalty +=
            (placement.skip - *seam_) % (pitch_ / 8) == 0 ? kRightSeam : kWrongSeam;
    weigh_first_rows(placement);
    weigh_ends(placement);
    weigh_metadata(placement);
    if (placement.frames > 1)
        weigh_series(placement);
    else if (known_.height == 0 &&
             rows_before_trailer(placement.skip, placement.height) != placement.height)
        placement.penalty += kForeignRows;
}

void PlacementContent::weigh_first_rows(Placement& placement) {
    const auto lines = hypothesis_.color_period();
    const auto end = std::min(placement.height, 8 * kLongestHeader / pitch_ + lines);
    for (auto y = lines; y < end; ++y)
        if (is_jump(placement.skip, y)) {
            placement.penalty += kForeignRows;
            break;
        }
    if (known_.skip < 0 && !may_begin_at(8 * placement.skip)) placement.penalty += kMissedRows;
}

/// Whether a piece of a row continues the piece a row away; nothing: not known.
std::optional<bool> PlacementContent::continues(std::int64_t piece, std::int64_t other,
                                                std::int64_t pixels) {
    const auto step = steps_.step(other, piece, pixels);
    if (!step.is_known()) return std::nullopt;
    return !steps_.is_jump(step);
}

/// Short headers and trailers change a part of a row only: where the frames begin and end, the
/// picture must too.
void PlacementContent::weigh_ends(Placement& placement) {
    constexpr std::int64_t kPixels = 64, kFewest = 8;
    const auto& coding = hypothesis_.fit->coding;
    const auto pixels = std::min(hypothesis_.width, kPixels);
    const auto begin = 8 * placement.skip;
    if (continues(begin, begin + period_, pixels) == false) placement.penalty += kForeignEnd;
    const auto in_front = std::min(pixels, coding.widest_row(begin)) / kFewest * kFewest;
    const auto front = begin - coding.row_bits(in_front);
    if (in_front > 0 && known_.skip < 0 && continues(front, front + period_, in_front) == true)
        placement.penalty += kMissedEnd;

    const auto frame = frame_bytes(pitch_, placement.height);
    const auto next = begin + 8 * (placement.frames * (frame + placement.gap) - placement.gap);
    const auto last = next - padding_ - coding.row_bits(pixels);
    if (hypothesis_.width % kFewest == 0 && continues(last, last - period_, pixels) == false)
        placement.penalty += kForeignEnd;
    const auto behind =
        std::min(pixels, coding.widest_row(8 * (placement.left_over + placement.gap))) / kFewest *
        kFewest;
    if (behind > 0 && known_.height == 0 && continues(next, next - period_, behind) == true)
        placement.penalty += kMissedEnd;
}

/// On the claim that the bytes from `from` to `to` are metadata and those around them pixels of the
/// frame that begins at `begin`.
Metadata::Verdict PlacementContent::judge(std::int64_t from, std::int64_t to, std::int64_t begin) {
    constexpr std::int64_t kAround = 4096;
    const auto first = std::max<std::int64_t>(0, from - kAround);
    const auto last = std::min({size_, to + kAround, from + kAround + kLongestHeader});
    const auto bytes = source_.bytes(first, last - first, room_);
    return metadata_.judge(bytes, first - begin, from - first, to - first);
}

/// What stands before, between and behind the frames must look like metadata, and the frames
/// must not. A header that is seen is no guess.
void PlacementContent::weigh_metadata(Placement& placement) {
    const auto frame = frame_bytes(pitch_, placement.height);
    const auto weigh_claim = [&](std::int64_t from, std::int64_t to, std::int64_t begin,
                                 double doubt) {
        const auto verdict = judge(from, to, begin);
        placement.penalty += against_claim(verdict);
        placement.is_explained &= from == to || verdict.gain > kSeen;
        placement.penalty -= doubt * certainty(verdict.gain);
    };
    const auto skip = placement.skip;
    if (known_.skip < 0) weigh_claim(0, skip, skip, placement.skip_penalty);
    const auto last = skip + (placement.frames - 1) * (frame + placement.gap);
    if (last + frame <= size_) weigh_claim(last + frame, size_, last, placement.left_over_penalty);
    if (placement.frames < 2 || placement.gap == 0) return;
    // Where frames follow each other, their dark borders would look like metadata, too: that
    // such bytes go on beyond the gap says less than what is in it.
    const auto verdict = judge(skip + frame, skip + frame + placement.gap, skip);
    placement.is_gap_seen = verdict.gain > kSeen;
    placement.is_explained &= placement.is_gap_seen;
    placement.penalty += against_claim(verdict) / (placement.is_gap_seen ? 2 : 1);
}

void PlacementContent::weigh_series(Placement& placement) {
    placement.penalty += kSameScene * series_.scene_likeness(placement);
    const auto bytes = frame_bytes(pitch_, placement.height) + placement.gap;
    const auto last = placement.skip + (placement.frames - 1) * bytes;
    if (seam_ && (placement.skip - *seam_) * 8 % pitch_ == 0 &&
        steps_.seam(last, placement.height) != 0)
        placement.penalty += kWrongSeam;
    if (placement.gap > 0) return weigh_gap(placement);
    const auto step = series_.boundary_step(placement);
    const bool is_flat = steps_.mean() <= 0;
    if (steps_.is_jump(step) || steps_.is_shift(step))
        placement.penalty += kJump;
    else if (!is_flat && step.mean < 1.2 * steps_.mean())
        placement.penalty += kNoJump;
}

/// Frames of a scene at rest continue each other; the bytes between them do not.
void PlacementContent::weigh_gap(Placement& placement) {
    const auto pixels =
        std::min(hypothesis_.fit->coding.widest_row(8 * placement.gap) / 8 * 8, hypothesis_.width);
    if (pixels <= 0) return;
    const auto end = 8 * (placement.skip + frame_bytes(pitch_, placement.height));
    const auto goes_on = continues(end, end - period_, pixels);
    if (goes_on == false)
        placement.penalty += kJump;
    else if (goes_on == true && !placement.is_gap_seen)
        placement.penalty += kNoJump;
}

}  // namespace frames
