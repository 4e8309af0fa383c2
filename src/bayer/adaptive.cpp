// Adaptive demosaic: the frame around the row kernels.
//
// Green is computed one row ahead of the colours, as its differences to them, so that the frame is
// passed over once. What the edges look like is in adaptive_border.h.

#include <utility>

#include "bayer/adaptive_border.h"

namespace imgcnv {
namespace {

template <size_t kBytes>
class AdaptiveFrame {
  public:
    explicit AdaptiveFrame(const BayerFrame& frame)
        : f_(frame),
          last_y_(frame.height - 1),
          has_odd_width_(frame.width % 2 != 0),
          columns_(SampleLines::is_in_place(frame, kReach, false) ? kDirectColumns
                                                                  : kDecodedColumns),
          samples_(frame, {line(kDifferenceLines), kSampleLines, columns_}, kReach, false) {
        for (size_t y = 0; y < 2; ++y) {
            const RowStart row_start = f_.row_start(y);
            kinds_[y] = {f_.kernels->adaptive_green[row_start],
                         f_.kernels->adaptive_color[row_start][f_.target(y)], f_.own_byte(y),
                         f_.starts_with_chroma(y)};
        }
    }

    void run() {
        for_each_strip(f_.width, columns_, [this](const Strip& strip) { run_strip(strip); });
    }

  private:
    // What the even rows, or the odd ones, have in common.
    struct RowKind {
        AdaptiveGreenKernel green;
        AdaptiveColorKernel color;  // of inner rows
        ptrdiff_t own_byte;
        bool starts_with_chroma;
    };
    const RowKind& kind(size_t y) const { return kinds_[y % 2]; }

    // Green kernels look two samples to either side.
    static constexpr ptrdiff_t kReach = 2;
    // While row y gets its green and row y-1 its colours: differences of rows y-2 to y, samples of
    // rows y-2 to y+2. (At other distances than these, CPUs take loads from one line for loads of
    // what was just stored to another one, 4 KiB away.)
    static constexpr size_t kDifferenceLines = 3, kSampleLines = 5;
    static constexpr size_t kDirectColumns = 8832, kDecodedColumns = 3200;
    static_assert(kDifferenceLines * line_bytes(kDirectColumns) <= kMostLineBytes);
    static_assert((kDifferenceLines + kSampleLines) * line_bytes(kDecodedColumns) <=
                  kMostLineBytes);

    void run_strip(const Strip& strip) {
        strip_ = strip;
        // Colour looks one column beyond the strip at green; two keep pairs whole.
        green_begin_ = strip.is_first ? 0 : -2;
        green_end_ = static_cast<ptrdiff_t>(std::min(strip.end + 2, f_.width) - strip.begin);
        green_pixels_ = static_cast<size_t>(green_end_ - green_begin_) & ~size_t{1};
        // The last pixel's alpha byte is not the kernels'.
        color_pixels_ = strip.paired_columns();
        if (kBytes == 4 && !has_odd_width_ && strip.is_last) color_pixels_ -= 2;
        // Colour kernels read one pair before and after those that there are. What they make of
        // it is rewritten, but it must not depend on old stack contents.
        for (size_t i = 0; i < kDifferenceLines; ++i) {
            differences_[i] = reinterpret_cast<int16_t*>(line(i) + kLineLead);
            std::fill_n(differences_[i] - 2, green_end_ / 2 + 4, int16_t{0});
        }
        samples_.begin_strip(strip);
        fetch(0);
        fetch(1);
        if (2 <= last_y_) fetch(2);
        make_green(0);
        for (size_t y = 0; y <= last_y_; ++y) {
            if (y + 3 <= last_y_) fetch(y + 3);
            // The rows beyond the frame are not looked at: any other stands in for them.
            auto& [above, here, below] = differences_;
            below = std::exchange(above, std::exchange(here, below));
            if (y < last_y_) make_green(y + 1);
            if (f_.is_read(y)) make_color(y);
        }
    }

    void fetch(size_t y) {
        const size_t slot = y % kRows;
        rows_[slot] = rows_[slot + kRows] = samples_.line(y, is_inner_row(y) ? kReach : 0);
    }
    // Rows y to y+4, of which those that have been fetched count.
    const uint8_t* const* rows_from(size_t y) const { return rows_ + y % kRows; }
    const uint8_t* row(size_t y) const { return *rows_from(y); }

    bool is_inner_row(size_t y) const { return y >= 2 && y + 2 <= last_y_; }

    // The differences of row y go to the line below.
    void make_green(size_t y) {
        int16_t* differences = differences_[2] + green_begin_ / 2;
        if (is_inner_row(y)) {
            kind(y).green(rows_from(y - 2), green_begin_, differences, green_pixels_);
        } else {
            f_.kernels->block_green[f_.row_start(y)](
                row(y) + green_begin_, row(y ^ 1) + green_begin_, differences, green_pixels_);
        }
        if (kind(y).starts_with_chroma) {
            fix_green<true>(y);
        } else {
            fix_green<false>(y);
        }
    }

    // Rewrites green in the first two columns and the last ones.
    template <bool kStartsWithChroma>
    inline void fix_green(size_t y) const {
        const uint8_t *line = row(y), *paired = row(y ^ 1);
        const auto fix = [&](ptrdiff_t x, bool starts_with_chroma) {
            differences_[2][(starts_with_chroma ? x : x + 1) >> 1] =
                block_difference(starts_with_chroma, line + x, paired + x);
        };
        if (strip_.is_first) fix(0, kStartsWithChroma);
        const ptrdiff_t width = to_strip(f_.width);
        if (green_end_ != width) return;
        if (!has_odd_width_) return fix(width - 2, kStartsWithChroma);
        // The lone last column shares the block that begins at the one before.
        fix(width - (kStartsWithChroma ? 2 : 3), false);
    }

    void make_color(size_t y) {
        const auto& [above, here, below] = differences_;
        const AdaptiveLines lines = {row(y), {above, here, below}};
        uint8_t* dst = f_.dst_rows[y] + strip_.begin * kBytes;
        const RowKind& kind = this->kind(y);
        if (!is_inner_row(y)) return make_border_color(y, lines, dst);
        kind.color(lines, dst, color_pixels_);
        fix_inner_columns(lines, row(y ^ 1), dst, kind);
    }

    // Every call is inlined: a few constants are left of the border's rule.
    __attribute__((flatten)) void fix_inner_columns(const AdaptiveLines& lines,
                                                    const uint8_t* paired, uint8_t* dst,
                                                    const RowKind& kind) const {
        if (kind.starts_with_chroma) {
            fix_columns({{true, false, false}, lines, paired, dst, kind.own_byte, false}, false);
        } else {
            fix_columns({{false, false, false}, lines, paired, dst, kind.own_byte, false}, false);
        }
    }

    __attribute__((noinline)) void make_border_color(size_t y, const AdaptiveLines& lines,
                                                     uint8_t* dst) const {
        const auto rule = AdaptiveRowRule::of(f_, y);
        const uint8_t* paired = row(y ^ 1);
        const bool is_last_row = y == (f_.upside_down ? 0 : last_y_);
        const auto make = [&](const KernelTable& kernels, ColorTarget target, size_t x,
                              size_t pixels, uint8_t* out) {
            const size_t pair = x / 2;
            const auto& [above, here, below] = lines.differences;
            kernels.adaptive_color[f_.row_start(y)][target](
                {lines.line + x, {above + pair, here + pair, below + pair}}, out, pixels);
            rule.template replicate<kChannelBytes<kBytes>>(lines.line + x, paired + x, pixels, out,
                                                           kBytes == 1 ? 0 : f_.own_byte(y));
        };
        convert_border_row<kBytes>(f_.target(y), dst, color_pixels_, kBytes == 4 && is_last_row,
                                   make);
        const size_t corner_row = f_.order == BayerOrder::BG ? last_y_ : 0;
        fix_columns({rule, lines, paired, dst, f_.own_byte(y), is_last_row},
                    has_odd_width_ && y == corner_row);
    }

    inline void fix_columns(const AdaptiveEdges<kBytes>& edges, bool skips_corner) const {
        if (strip_.is_first) edges.fix_first_column();
        if (!strip_.is_last) return;
        const ptrdiff_t last = to_strip(f_.width) - 1;
        if (has_odd_width_) {
            edges.template fix_last_columns<true>(last, false, skips_corner);
        } else {
            edges.template fix_last_columns<false>(last, f_.width == 2, skips_corner);
        }
    }

    ptrdiff_t to_strip(size_t x) const { return static_cast<ptrdiff_t>(x - strip_.begin); }

    uint8_t* line(size_t i) { return memory_ + i * line_bytes(columns_); }

    // A power of two, so that a row's place is a mask and not a remainder.
    static constexpr size_t kRows = 8;

    const BayerFrame& f_;
    alignas(64) uint8_t memory_[kMostLineBytes];
    const size_t last_y_;
    const bool has_odd_width_;
    const size_t columns_;
    SampleLines samples_;
    // By row number; all begin at the strip's first column.
    const uint8_t* rows_[2 * kRows];  // twice, so that neighbours follow one another
    int16_t* differences_[3];         // of a row's pairs: above, here, below
    RowKind kinds_[2];
    Strip strip_{};
    ptrdiff_t green_begin_ = 0;
    ptrdiff_t green_end_ = 0;
    size_t green_pixels_ = 0;
    size_t color_pixels_ = 0;
};

}  // namespace

void demosaic_adaptive(const BayerFrame& frame) {
    for_destination(frame, [&]<size_t kBytes>() { AdaptiveFrame<kBytes>(frame).run(); });
}

}  // namespace imgcnv
