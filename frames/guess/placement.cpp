#include "guess/placement.h"

#include "guess/known_sizes.h"
#include "guess/placement_content.h"
#include "guess/usual_placements.h"

#include <algorithm>

namespace frames {
namespace {

constexpr std::int64_t kLongestGap = 65536;
constexpr std::int64_t kLostFrames = 64;  // fewer than without gaps
constexpr std::size_t kCompared = 14;

class Placer {
  public:
    Placer(ByteSource& source, std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
           const imgcnv_frame& known)
        : size_(source.size()),
          pitch_(hypothesis.pitch_bits),
          row_(hypothesis.fit->coding.row_bits(hypothesis.width)),
          hypothesis_(hypothesis),
          known_(known),
          content_(source, window, hypothesis, known) {}

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
        for (auto& placement : found_) content_.weigh(placement);
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
        for (const auto usual : usual_lengths()) offer(usual);
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
        for (const auto skip : row_begins())
            if (may_skip(skip) && std::find(begins.begin(), begins.end(), skip) == begins.end())
                begins.push_back(skip);
        for (const auto skip : begins) {
            const auto rows = ((size_ - skip) * 8 - row_) / pitch_ + 1;
            if (rows < kFewestRows) continue;
            add({rows, 1, skip, 0, 0, false});
            if (!is_likely_begin(skip)) continue;
            const auto end = content_.rows_before_trailer(skip, rows);
            if (end != rows) add({end, 1, skip, 0, 0, false});
            for (const auto count :
                 {series().frames_by_jumps(skip, rows), series().frames_by_scene(skip, rows)})
                if (count > 1) add({rows / count, count, skip, 0, 0, false});
        }
        add_with_gaps();
    }

    /// Where whole rows from the seam on, or up to the end of the file, begin at a jump.
    std::vector<std::int64_t> row_begins() {
        std::vector<std::int64_t> begins;
        if (pitch_ % 8 == 0) {
            const auto pitch = pitch_ / 8;
            const auto of_seam = content_.seam().value_or(hypothesis_.start) % pitch;
            for (std::int64_t row = 0; row <= kLongestHeader; row += pitch)
                for (const auto first : {size_ % pitch, of_seam}) {
                    const auto skip = first + row;
                    // Only where a header ends is there a reason to begin behind a whole row.
                    if (skip <= kLongestHeader && (row == 0 || content_.may_begin_at(8 * skip)))
                        begins.push_back(skip);
                }
            return begins;
        }
        // Rows of a stream begin within a byte.
        for (auto bit = size_ * 8 % pitch_; bit <= 8 * kLongestHeader; bit += pitch_)
            if (may_skip(bit / 8) && content_.may_begin_at(bit / 8 * 8)) begins.push_back(bit / 8);
        return begins;
    }

    /// The seam, and what fills the file with whole rows, leave few places to begin at.
    bool is_likely_begin(std::int64_t skip) const {
        if (skip == 0) return true;
        const auto seam = content_.seam();
        if (seam && pitch_ % 8 == 0 && (skip - *seam) % (pitch_ / 8) != 0) return false;
        return (size_ - skip) * 8 % pitch_ < 8;
    }

    /// Frames of an unknown height with bytes between them: lengths that divide, and jumps.
    void add_with_gaps() {
        if (known_.gap == 0 || size_ < 4 * kFewestRows * pitch_ / 8) return;
        const auto skip = std::max<std::int64_t>(0, known_.skip);
        for (std::int64_t count = 2; count <= kMostFrames; ++count)
            for (const auto gap : usual_lengths())
                for (const auto gaps : {count, count - 1}) {
                    const auto all = size_ - skip - gaps * gap;
                    if (all <= 0 || all % count != 0 || all / count * 8 % pitch_ >= 8) continue;
                    const auto height = all / count * 8 / pitch_;
                    if (height < series().lowest() || height > series().highest()) continue;
                    const Placement placement{height, count, skip, gap, 0, false};
                    if (content_.are_parted(placement)) add(placement);
                }
    }

    void add(Placement placement) {
        if (!may_skip(placement.skip)) return;
        if (known_.gap >= 0 && placement.frames > 1 && placement.gap != known_.gap) return;
        if (known_.height == 0 && placement.height < kFewestRows) return;
        weigh_usualness(placement, hypothesis_, known_, size_);
        const bool is_there =
            std::any_of(found_.begin(), found_.end(), [&](const Placement& other) {
                return other.height == placement.height && other.frames == placement.frames &&
                       other.skip == placement.skip && other.gap == placement.gap;
            });
        if (!is_there) found_.push_back(placement);
    }

    FrameSeries& series() { return content_.series(); }

    std::int64_t size_, pitch_, row_;
    const Hypothesis& hypothesis_;
    const imgcnv_frame& known_;
    PlacementContent content_;
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
