// Adaptive demosaic: the frame around the row kernels.
//
// A ring of green lines, and of the differences between colour and green, runs
// ahead of the colour rows, so that the frame is passed over once. What the edges look
// like is in adaptive_border.h.

#include <algorithm>

#include "bayer/adaptive_border.h"
#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

template <size_t kBytes, bool kOddWidth>
class AdaptiveFrame {
  public:
    explicit AdaptiveFrame(const BayerFrame& frame)
        : f_(frame),
          border_(frame),
          reader_(frame),
          narrow_(frame.width <= kNarrow),
          columns_(narrow_             ? kNarrow
                   : reader_.decodes() ? kDecodedColumns
                                       : kDirectColumns),
          last_x_(frame.width - 1),
          last_y_(frame.height - 1),
          rows_(reader_.decodes() ? decoded_ : frame.src_rows),
          row_mask_(reader_.decodes() ? kRowSlots - 1 : ~size_t{0}),
          whole_rows_(frame.width > kNoPartialBlocks && may_look_beyond_inner_rows()),
          colors_beyond_(kBytes == 3 || (kBytes == 1 && is_gapless())) {
        for (size_t y = 0; y < 2; ++y) {
            const Phase phase = f_.phase(y, 0);
            inner_[y] = {.green = f_.kernels->adaptive_green[phase],
                         .color = f_.kernels->adaptive_color[kNoneCopied][phase][f_.sink(y)],
                         .phase = phase,
                         .own_byte = f_.own_byte(y)};
        }
        for (size_t i = 0; i < kGreenSlots; ++i) {
            green_lines_[i] = memory_ + i * line_bytes(columns_) + kLineLead;
            uint8_t* line = green_lines_[i] + kGreenSlots * line_bytes(columns_);
            difference_lines_[i] = reinterpret_cast<int16_t*>(line);
            // Where the first pair of the frame looks to its left, for nothing.
            difference_lines_[i][-1] = 0;
        }
    }

    void run() {
        const size_t strip = strip_columns(f_.width, columns_);
        for (size_t x = 0; x < f_.width; x += strip) run_strip(x, std::min(x + strip, f_.width));
    }

  private:
    // What the inner rows have in common that are even, or odd.
    struct InnerRow {
        AdaptiveGreenKernel green;
        AdaptiveColorKernel color;
        Phase phase;
        ptrdiff_t own_byte;
    };
    const InnerRow& inner(size_t y) const { return inner_[y % 2]; }

    void run_strip(size_t begin, size_t end) {
        begin_ = begin;
        end_ = end;
        // Colour looks one column beyond the strip at green; two keep pairs whole.
        green_begin_ = begin == 0 ? 0 : begin - 2;
        green_end_ = std::min(end + 2, f_.width);
        // Beyond the last column kernels look for nothing.
        const size_t columns = green_end_ - begin;
        for (size_t i = 0; i < kGreenSlots; ++i) {
            green_lines_[i][columns] = 0;
            difference_lines_[i][columns / 2] = difference_lines_[i][columns / 2 + 1] = 0;
        }
        is_first_ = begin == 0;
        is_last_ = end == f_.width;
        // Of odd widths one pixel beyond.
        green_pixels_ = (green_end_ - green_begin_ + 1) & ~size_t{1};
        color_pixels_ = (end - begin + (colors_beyond_ ? 1 : 0)) & ~size_t{1};
        // The alpha byte of the last pixel is not ours.
        if (kBytes == 4 && !kOddWidth && is_last_) color_pixels_ -= 2;
        restores_beyond_ = kOddWidth && colors_beyond_ && is_last_ && (f_.mirrored || !is_first_);
        row_column_ = reader_.decodes() ? 0 : begin;
        reader_.begin_strip(begin, end);
        fetch(0);
        fetch(1);
        if (2 < last_y_) fetch(2);
        make_green(0);
        size_t y = 0;
        for (; y <= last_y_ && y < std::max<size_t>(2, kFirstWhole - 1); ++y) make_row(y);
        if (whole_rows_) y = narrow_ ? make_inner_rows<2>(y) : make_inner_rows<1>(y);
        for (; y <= last_y_; ++y) make_row(y);
    }

    // Colour of a row, after what it needs of the next ones.
    void make_row(size_t y) {
        if (y + 3 <= last_y_) fetch(y + 3);
        if (y < last_y_) make_green(y + 1);
        make_color(y);
    }

    // The same for rows from y on as long as they and the next one are inner rows, with green
    // kAhead rows before colour.
    template <size_t kAhead>
    size_t make_inner_rows(size_t y) {
        if (y + 3 > last_y_) return y;
        if constexpr (kAhead == 2) {
            fetch(y + 3);
            make_green(y + 1);
        }
        const bool odd_is_color_first = inner_[1].phase == kColorFirst;
        for (; is_whole(y + kAhead); ++y) {
            fetch(y + 2 + kAhead);
            if ((y % 2 != 0) == odd_is_color_first) {
                make_whole_green<kAhead == 2 ? kColorFirst : kGreenFirst>(y + kAhead);
                make_inner_color<kColorFirst>(y);
            } else {
                make_whole_green<kAhead == 2 ? kGreenFirst : kColorFirst>(y + kAhead);
                make_inner_color<kGreenFirst>(y);
            }
        }
        if constexpr (kAhead == 2) make_color(y++);
        return y;
    }

    static constexpr size_t kNoPartialBlocks = 16;
    // Strips in which green is two rows ahead: it has settled in the cache when colour asks for
    // it. Measured with 64 columns: .83 to .93 of the time; with 1920, where it takes more of
    // the cache than it gives, 1.01 to 1.04.
    static constexpr size_t kNarrow = 1024;
    static constexpr size_t kGreenSlots = 4;   // rows y-1 .. y+2 at a time
    static constexpr size_t kSampleSlots = 5;  // rows y-1 .. y+3 at a time
    static constexpr size_t kNarrowSampleSlots = kSampleSlots + 1;
    static constexpr size_t kRowSlots = 8;  // the same, quicker to find
    // Columns of a strip: what 55 KiB of stack hold of green, differences and, if
    // rows need decoding, samples.
    static constexpr size_t kDirectColumns = 6912;
    static constexpr size_t kDecodedColumns = 4160;
    static constexpr size_t kMemory =
        std::max(2 * kGreenSlots * line_bytes(kDirectColumns),
                 (2 * kGreenSlots + kSampleSlots) * line_bytes(kDecodedColumns));
    static_assert((2 * kGreenSlots + kNarrowSampleSlots) * line_bytes(kNarrow) <= kMemory);

    // Rows are fetched once each, one after the other.
    void fetch(size_t y) {
        if (!reader_.decodes()) return;
        uint8_t* line = memory_ + (2 * kGreenSlots + next_line_) * line_bytes(columns_) + kLineLead;
        if (++next_line_ == (narrow_ ? kNarrowSampleSlots : kSampleSlots)) next_line_ = 0;
        reader_.decode(y, line);
        const size_t slot = y % kRowSlots;
        decoded_[slot] = decoded_[slot + kRowSlots] = line;
    }
    // Rows y to y+4; the strip begins in their column row_column_.
    const uint8_t* const* rows_from(size_t y) const { return rows_ + (y & row_mask_); }
    // Row y from the strip on.
    const uint8_t* row(size_t y) const { return rows_from(y)[0] + row_column_; }
    // In the strip; one or two before it are negative.
    ptrdiff_t column(size_t x) const {
        return static_cast<ptrdiff_t>(x) - static_cast<ptrdiff_t>(begin_);
    }
    const uint8_t* sample(size_t y, size_t x) const { return row(y) + column(x); }
    uint8_t* green(size_t y, size_t x) { return green_lines_[y % kGreenSlots] + column(x); }
    // Of the pair that x belongs to.
    int16_t* differences(size_t y, size_t x) {
        return difference_lines_[y % kGreenSlots] + (column(x) >> 1);
    }

    void make_green(size_t y) {
        if (!border_.is_inner_row(y)) {
            // Rows 0 and 1 and the last two come in pairs, at the first of them.
            if (y % 2 == 0) make_cell_green(y);
        } else if (whole_rows_ && is_whole(y)) {
            if (inner(y).phase == kColorFirst) return make_whole_green<kColorFirst>(y);
            make_whole_green<kGreenFirst>(y);
        } else {
            // The columns that have two neighbours on either side.
            const size_t from = std::min(std::max<size_t>(green_begin_, 2), green_end_);
            const size_t to = std::max(from, std::min(green_end_, last_x_ < 2 ? 0 : last_x_ - 1));
            const size_t odd = (to - from) % 2;
            fill_from_cells(y, green_begin_, from);
            if (to > from) make_inner_green(y, from, to - odd);
            if (odd != 0) put_green(y, to - 1);
            fill_from_cells(y, to, green_end_);
        }
    }

    void make_cell_green(size_t y) {
        const size_t even_begin = green_begin_ + green_begin_ % 2;
        const size_t pixels = green_end_ < even_begin ? 0 : (green_end_ - even_begin) & ~size_t{1};
        const uint8_t* const rows[2] = {sample(y, even_begin), sample(y + 1, even_begin)};
        uint8_t* const greens[2] = {green(y, even_begin), green(y + 1, even_begin)};
        int16_t* const differences_of[2] = {differences(y, even_begin),
                                            differences(y + 1, even_begin)};
        f_.kernels->cell_green[f_.phase(y, 0)](rows, greens, differences_of, pixels);
        for (const size_t row : {y, y + 1}) {
            fill_from_cells(row, green_begin_, even_begin);
            fill_from_cells(row, even_begin + pixels, green_end_);
        }
    }

    // A whole number of pairs.
    void make_inner_green(size_t y, size_t from, size_t to) {
        inner(y).green(rows_from(y - 2), column(from) + static_cast<ptrdiff_t>(row_column_),
                       green(y, from), differences(y, from), to - from);
    }

    // An inner row from edge to edge: the outermost pairs are written twice, whole blocks
    // are worth it.
    template <Phase kPhase>
    void make_whole_green(size_t y) {
        make_inner_green(y, green_begin_, green_begin_ + green_pixels_);
        const uint8_t *line = row(y), *across = row(y ^ 1);
        uint8_t* out = green_lines_[y % kGreenSlots];
        int16_t* out_differences = difference_lines_[y % kGreenSlots];
        constexpr bool kEven = kPhase == kColorFirst;  // the columns of the colour sites
        if (is_first_) {
            put_cell_green(line, across, out, out_differences, kEven ? 0 : 1, kEven ? 1 : -1);
        }
        if (green_end_ != f_.width) return;
        // The lone last column of an odd width shares the cell before it.
        const ptrdiff_t site = column(last_x_ - (kEven != kOddWidth ? 1 : 0));
        put_cell_green(line, across, out, out_differences, site, kEven && !kOddWidth ? 1 : -1);
    }

    // The one column beyond the pairs that kernels take.
    void put_green(size_t y, size_t x) {
        if (f_.is_color_site(y, x)) {
            const uint8_t* const lines[5] = {sample(y - 2, x), sample(y - 1, x), sample(y, x),
                                             sample(y + 1, x), sample(y + 2, x)};
            *green(y, x) = adaptive_green_at(lines, 0);
            *differences(y, x) = static_cast<int16_t>(*lines[2] - *green(y, x));
        } else {
            *green(y, x) = *sample(y, x);
        }
    }

    // Green of the 2x2 cells.
    void fill_from_cells(size_t y, size_t from, size_t to) {
        const uint8_t *line = row(y), *across = row(y ^ 1);
        uint8_t* out = green_lines_[y % kGreenSlots];
        int16_t* out_differences = difference_lines_[y % kGreenSlots];
        for (size_t x = from; x < to; ++x) {
            if (f_.is_color_site(y, x)) {
                // The lone last column of an odd width shares the cell before it.
                const ptrdiff_t beside = x % 2 == 0 && x != last_x_ ? 1 : -1;
                put_cell_green(line, across, out, out_differences, column(x), beside);
            } else {
                out[column(x)] = line[column(x)];
            }
        }
    }

    // A colour site has the mean of its cell's greens, one beside it, one above or below.
    static void put_cell_green(const uint8_t* line, const uint8_t* across, uint8_t* green,
                               int16_t* differences, ptrdiff_t site, ptrdiff_t beside) {
        const int mean = avg2(line[site + beside], across[site]);
        green[site] = static_cast<uint8_t>(mean);
        differences[site >> 1] = static_cast<int16_t>(line[site] - mean);
    }

    void make_color(size_t y) {
        if (!whole_rows_ || !border_.is_inner_row(y)) return make_border_color(y, lines_at(y));
        if (inner(y).phase == kColorFirst) return make_inner_color<kColorFirst>(y);
        make_inner_color<kGreenFirst>(y);
    }

    // Kernels go to the edge, and beyond it by a pixel of odd widths. In the first column and
    // the last two, what is copied is written again.
    template <Phase kPhase>
    void make_inner_color(size_t y) {
        const InnerRow& kind = inner(y);
        const AdaptiveLines lines = lines_of(y, y - 1, y + 1);
        uint8_t* out = f_.dst_rows[y] + begin_ * kBytes;
        uint8_t* const beyond = out + color_pixels_ * kBytes - kBytes;
        uint8_t kept[kBytes];
        const bool restores = kOddWidth && restores_beyond_;
        if (restores) std::copy_n(beyond, kBytes, kept);
        kind.color(lines, out, color_pixels_);
        if (restores) std::copy_n(kept, kBytes, beyond);
        if (is_first_) put_first_pixel<kPhase>(kind.own_byte, lines, out);
        if (is_last_) put_last_pixels<kPhase>(kind.own_byte, lines, column(last_x_ - 1), out);
    }

    // Rows along the edges, and narrow ones.
    __attribute__((noinline)) void make_border_color(size_t y, const AdaptiveLines& lines) {
        size_t to = std::min(end_, std::max(begin_, last_x_ - 1));
        to -= (to - begin_) % 2;  // kernels are quick with whole pairs
        if (to != begin_) {
            const AdaptiveColorKernel kernel =
                f_.kernels->adaptive_color[border_.kind_of_row(y)][f_.phase(y, begin_)][f_.sink(y)];
            if (kBytes == 4 && border_.is_last_row(y)) {
                put_all_but_alpha(y, kernel, lines, to);
            } else {
                kernel(lines, f_.dst(y, begin_), to - begin_);
            }
            if (begin_ == 0) border_.put_pixels<kBytes>(lines, y, 0, 0, 1, f_.dst(y, 0));
        }
        border_.put_pixels<kBytes>(lines_beyond(lines, static_cast<ptrdiff_t>(to - begin_)), y, to,
                                   to, end_, f_.dst(y, to));
    }

    // Of the strip, the pixels before `to`: the alpha bytes of the last row are not ours.
    void put_all_but_alpha(size_t y, AdaptiveColorKernel kernel, const AdaptiveLines& lines,
                           size_t to) {
        constexpr size_t kPart = 64;
        uint8_t pixels[kPart * kBytes];
        for (size_t x = begin_; x < to; x += kPart) {
            const size_t count = std::min(kPart, to - x);
            kernel(lines_beyond(lines, column(x)), pixels, count);
            for (size_t i = 0; i < count; ++i) {
                std::copy_n(pixels + i * kBytes, 3, f_.dst(y, x + i));
            }
        }
    }

    // At the top and bottom row, the line beyond the frame is not looked at and the
    // row stands in for it.
    AdaptiveLines lines_at(size_t y) const {
        return lines_of(y, y == 0 ? 0 : y - 1, y == last_y_ ? last_y_ : y + 1);
    }
    AdaptiveLines lines_of(size_t y, size_t above, size_t below) const {
        return {row(y),
                row(y ^ 1),
                green_lines_[y % kGreenSlots],
                {difference_lines_[above % kGreenSlots], difference_lines_[y % kGreenSlots],
                 difference_lines_[below % kGreenSlots]}};
    }

    // Rows whose green goes from edge to edge: inner rows, and for odd widths those that need
    // none of the outermost rows, which end where the frame may end.
    static constexpr size_t kFirstWhole = kOddWidth ? 4 : 2;
    bool is_whole(size_t y) const { return y >= kFirstWhole && y + kFirstWhole <= last_y_; }

    // Whether kernels may look beyond all inner rows. (They follow one another at
    // one distance.)
    bool may_look_beyond_inner_rows() const {
        return last_y_ < 4 || (reader_.may_look_beyond(2, kBeyond) &&
                               reader_.may_look_beyond(last_y_ - 2, kBeyond));
    }

    bool is_gapless() const {
        return reader_.decodes() ||
               static_cast<size_t>(std::abs(f_.src_rows[0] - f_.src_rows[1])) == f_.width;
    }

    // The common cases of the border's put_pixels, which takes some hundred instructions a pixel:
    // an inner row's first pixel and its last two. What kernels made of them is right but for the
    // colours that are copied: of the even columns in the last two from the even one, of the odd
    // ones in the first and the last.
    template <Phase kPhase>
    static void put_first_pixel(ptrdiff_t own_byte, const AdaptiveLines& lines, uint8_t* out) {
        if constexpr (kBytes != 1) {
            if constexpr (kPhase == kColorFirst) {
                out[2 - own_byte] = lines.beside[1];
            } else {
                out[own_byte] = lines.line[1];
            }
        } else if constexpr (kPhase == kColorFirst) {
            put_pixel<1>(out, own_byte, lines.line[0], lines.green[0], lines.beside[1]);
        } else {
            put_pixel<1>(out, own_byte, lines.line[1], lines.green[0],
                         AdaptivePixel(lines, 0, 1).from_column());
        }
    }
    // x: the last column but one, from where lines and out begin
    template <Phase kPhase>
    void put_last_pixels(ptrdiff_t own_byte, const AdaptiveLines& lines, ptrdiff_t x,
                         uint8_t* out) const {
        const uint8_t *line = lines.line + x, *beside = lines.beside + x, *green = lines.green + x;
        uint8_t *first = out + x * ptrdiff_t{kBytes}, *last = first + kBytes;
        constexpr ptrdiff_t kEven = kOddWidth ? 1 : 0, kOdd = 1 - kEven;  // columns of the two
        if constexpr (kBytes == 3) {
            if constexpr (kPhase == kColorFirst) {
                if constexpr (kOddWidth) first[own_byte] = line[kEven];
                last[own_byte] = line[kEven];
                last[2 - own_byte] = beside[kOdd];
            } else {
                first[2 - own_byte] = last[2 - own_byte] = beside[kEven];
                last[own_byte] = line[kOdd];
            }
        } else if constexpr (kPhase == kColorFirst) {
            if constexpr (kBytes == 4 || kOddWidth) {
                const AdaptivePixel pixel(lines, x, 0);
                const int other = kOddWidth ? pixel.from_column() : pixel.from_corners();
                put_pixel<kBytes>(first, own_byte, line[kEven], green[0], other);
            }
            put_pixel<kNoLastAlpha>(last, own_byte, line[kEven], green[1], beside[kOdd]);
        } else {
            const int own = kOddWidth ? line[0] : AdaptivePixel(lines, x, 1).from_row();
            put_pixel<kBytes>(first, own_byte, own, green[0], beside[kEven]);
            put_pixel<kNoLastAlpha>(last, own_byte, line[kOdd], green[1], beside[kEven]);
        }
    }
    static constexpr size_t kNoLastAlpha = kBytes == 4 ? 3 : kBytes;  // it is not ours

    // columns: even
    static AdaptiveLines lines_beyond(const AdaptiveLines& lines, ptrdiff_t columns) {
        const int16_t* const* differences = lines.differences;
        return {lines.line + columns,
                lines.beside + columns,
                lines.green + columns,
                {differences[0] + columns / 2, differences[1] + columns / 2,
                 differences[2] + columns / 2}};
    }

    const BayerFrame& f_;
    const AdaptiveBorder border_;
    alignas(64) uint8_t memory_[kMemory];
    LineReader reader_;
    const bool narrow_;
    const size_t columns_;  // that lines have room for
    // At column begin_.
    const uint8_t* decoded_[2 * kRowSlots];  // rows, all twice: neighbours follow one another
    uint8_t* green_lines_[kGreenSlots];
    int16_t* difference_lines_[kGreenSlots];
    const size_t last_x_;
    const size_t last_y_;
    const uint8_t* const* const rows_;  // by row number, of which row_mask_ counts
    const size_t row_mask_;
    const bool whole_rows_;  // kernels go from edge to edge of inner rows
    // ... and of odd widths one pixel beyond, which is the next row's first. (Where grey becomes
    // of it, what lies there decides on a branch: it must not be padding.)
    const bool colors_beyond_;
    InnerRow inner_[2];
    size_t begin_ = 0;
    size_t end_ = 0;
    bool is_first_ = true;
    bool is_last_ = true;
    size_t green_begin_ = 0;
    size_t green_end_ = 0;
    size_t green_pixels_ = 0;  // that kernels take of an inner row
    size_t color_pixels_ = 0;
    bool restores_beyond_ = false;  // the pixel beyond a row, which has been written
    size_t row_column_ = 0;
    size_t next_line_ = 0;  // of samples
};

template <size_t kBytes>
void demosaic(const BayerFrame& frame) {
    if (frame.width % 2 == 0) return AdaptiveFrame<kBytes, false>(frame).run();
    AdaptiveFrame<kBytes, true>(frame).run();
}

}  // namespace

void demosaic_adaptive(const BayerFrame& frame) {
    switch (frame.dst_bytes) {
        case 1:
            return demosaic<1>(frame);
        case 3:
            return demosaic<3>(frame);
        default:
            return demosaic<4>(frame);
    }
}

}  // namespace imgcnv
