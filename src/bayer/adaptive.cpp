// Adaptive demosaic: the frame around the row kernels.
//
// A ring of green lines, and of the differences between colour and green, runs
// one row ahead of the colour rows, so that the frame is passed over once (two
// rows ahead, for what was just stored to settle, was no faster).
//
// Two rows and columns along each edge lack neighbours: there, green is the mean
// of the two greens of the 2x2 cell, and the other colours are copied from a
// sample of the cell or nearby. A mosaic has one colour in its even columns and
// one in the odd ones:
//
//   even columns' colour   in the two rows along one edge (the top one in GB, the
//                          bottom one in BG): the cell's; else in the last two
//                          columns: that of the last even column
//   odd columns' colour    in the outermost rows and columns: the cell's
//
// RG is GB with the frame upside down: the row tables of an RG frame come in
// reverse order, and the frame as a GB one.
//
// An odd width has a last column without a cell. For green its cell is the one
// that begins at column W-2; one corner pixel has no sample to copy and is left as
// it was.

#include <algorithm>

#include "bayer/adaptive_plain.h"
#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

template <size_t kBytes>
class AdaptiveFrame {
  public:
    explicit AdaptiveFrame(const BayerFrame& frame)
        : f_(frame),
          columns_(frame.line_format.decode == nullptr ? kDirectColumns : kDecodedColumns),
          samples_(frame, memory_ + 2 * kGreenSlots * line_bytes(columns_), columns_),
          last_x_(frame.width - 1),
          last_y_(frame.height - 1),
          wide_(frame.width > kNoPartialBlocks) {
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
    void run_strip(size_t begin, size_t end) {
        begin_ = begin;
        end_ = end;
        // Colour looks one column beyond the strip at green; two keep pairs whole.
        green_begin_ = begin == 0 ? 0 : begin - 2;
        green_end_ = std::min(end + 2, f_.width);
        for (int16_t* line : difference_lines_) line[(green_end_ - begin + 1) / 2] = 0;
        samples_.begin_strip(begin, end);
        fetch(0);
        fetch(1);
        if (2 < last_y_) fetch(2);
        make_green(0);
        for (size_t y = 0; y <= last_y_; ++y) {
            if (y + 3 <= last_y_) fetch(y + 3);
            if (y < last_y_) make_green(y + 1);
            make_color(y);
        }
    }

    static constexpr size_t kNoPartialBlocks = 16;
    static constexpr size_t kGreenSlots = 4;   // rows y-1 .. y+1 at a time
    static constexpr size_t kSampleSlots = 5;  // rows y-1 .. y+3 at a time
    static constexpr size_t kRowSlots = 8;     // the same, quicker to find
    // Columns of a strip: what 55 KiB of stack hold of green, differences and, if
    // rows need decoding, samples.
    static constexpr size_t kDirectColumns = 6912;
    static constexpr size_t kDecodedColumns = 4160;
    static constexpr size_t kMemory =
        std::max(2 * kGreenSlots * line_bytes(kDirectColumns),
                 (2 * kGreenSlots + kSampleSlots) * line_bytes(kDecodedColumns));

    void fetch(size_t y) { rows_[y % kRowSlots] = samples_.at(y, begin_); }
    const uint8_t* sample(size_t y, size_t x) const {
        return rows_[y % kRowSlots] + (static_cast<ptrdiff_t>(x) - static_cast<ptrdiff_t>(begin_));
    }
    uint8_t* green(size_t y, size_t x) { return green_lines_[y % kGreenSlots] + (x - begin_); }
    // Of the pair that x belongs to.
    int16_t* differences(size_t y, size_t x) {
        return difference_lines_[y % kGreenSlots] + (static_cast<ptrdiff_t>(x - begin_) >> 1);
    }

    void make_green(size_t y) {
        if (!is_inner_row(y)) {
            // Rows 0 and 1 and the last two come in pairs, at the first of them.
            if (y % 2 == 0) make_cell_green(y);
        } else if (wide_ && samples_.may_look_beyond(y, 2)) {
            // The outermost pairs are written twice: whole blocks are worth it.
            make_inner_green(y, green_begin_, green_end_ - (green_end_ - green_begin_) % 2);
            if (green_begin_ == 0) fill_pair(y, 0);
            if (green_end_ == f_.width) {
                if (last_x_ % 2 != 0) {
                    fill_pair(y, last_x_ - 1);
                } else {
                    fill_from_cells(y, last_x_ - 1, green_end_);
                }
            }
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
        const uint8_t* const lines[5] = {sample(y - 2, from), sample(y - 1, from), sample(y, from),
                                         sample(y + 1, from), sample(y + 2, from)};
        f_.kernels->adaptive_green[f_.phase(y, from)](lines, green(y, from), differences(y, from),
                                                      to - from);
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

    // Green of the 2x2 cells: a colour site has the mean of its cell's greens, one
    // beside it, one above or below.
    void fill_from_cells(size_t y, size_t from, size_t to) {
        if (from == to) return;
        const uint8_t* line = sample(y, from);
        const uint8_t* across = sample(y ^ 1, from);
        uint8_t* out = green(y, from);
        for (size_t x = from; x < to; ++x, ++line, ++across, ++out) {
            *out = *line;
            if (!f_.is_color_site(y, x)) continue;
            // The lone last column of an odd width shares the one before it.
            const ptrdiff_t beside = x % 2 == 0 && x != last_x_ ? 1 : -1;
            *out = static_cast<uint8_t>(avg2(line[beside], *across));
            *differences(y, x) = static_cast<int16_t>(*line - *out);
        }
    }

    // The same for the two columns of a cell.
    void fill_pair(size_t y, size_t x) {
        const uint8_t* line = sample(y, x);
        const uint8_t* across = sample(y ^ 1, x);
        uint8_t* out = green(y, x);
        const size_t color = f_.is_color_site(y, x) ? 0 : 1;
        const int mean = avg2(line[1 - color], across[color]);
        out[color] = static_cast<uint8_t>(mean);
        out[1 - color] = line[1 - color];
        *differences(y, x) = static_cast<int16_t>(line[color] - mean);
    }

    void make_color(size_t y) {
        const AdaptiveLines lines = lines_at(y, begin_);
        if (!wide_ || !is_inner_row(y)) return make_border_color(y, lines);

        // Kernels go to the edge, where two columns (of an even width the last pair) are written
        // again; but the alpha byte of the last one is not ours.
        const size_t even_end = end_ - (end_ - begin_) % 2;
        const bool is_last = end_ == f_.width;
        run_kernel(y, lines, kBytes == 4 && even_end == f_.width ? even_end - 2 : even_end);
        if (begin_ == 0) put_first_pixel(lines, y, f_.dst(y, 0));
        if (!is_last) return;
        const size_t x = last_x_ - 1;
        const ptrdiff_t column = static_cast<ptrdiff_t>(x) - static_cast<ptrdiff_t>(begin_);
        if (even_end == end_) {
            put_last_pair(lines_beyond(lines, column), y, f_.dst(y, x));
        } else {  // maybe one column of the strip before
            put_pixels(lines_beyond(lines, column - 1), y, x - 1, x, end_, f_.dst(y, x));
        }
    }

    void run_kernel(size_t y, const AdaptiveLines& lines, size_t to) {
        f_.kernels->adaptive_color[kind_of_row(y)][f_.phase(y, begin_)][f_.sink(y)](
            lines, f_.dst(y, begin_), to - begin_);
    }

    // Rows along the edges, and narrow ones.
    __attribute__((noinline)) void make_border_color(size_t y, const AdaptiveLines& lines) {
        size_t to = std::min(end_, std::max(begin_, last_x_ - 1));
        to -= (to - begin_) % 2;  // kernels are quick with whole pairs
        // The alpha bytes of the last row are not ours: pixel by pixel.
        if (kBytes == 4 && real_row(y) == last_y_) to = begin_;
        if (to != begin_) {
            run_kernel(y, lines, to);
            if (begin_ == 0) put_pixels(lines, y, 0, 0, 1, f_.dst(y, 0));
        }
        put_pixels(lines_beyond(lines, static_cast<ptrdiff_t>(to - begin_)), y, to, to, end_,
                   f_.dst(y, to));
    }

    size_t real_row(size_t y) const { return f_.mirrored ? last_y_ - y : y; }

    // Whether the colour of the even (odd) columns is copied all along a row.
    bool even_columns_copied(size_t y) const {
        return f_.order == BayerOrder::BG ? y + 1 >= last_y_ : y <= 1;
    }
    bool odd_columns_copied(size_t y) const { return y == 0 || y == last_y_; }
    // Whether a row's own colour is that of the even columns.
    bool own_is_even(size_t y) const { return f_.is_color_site(y, 0); }

    AdaptiveRow kind_of_row(size_t y) const {
        if (is_inner_row(y)) return kNoneCopied;
        const bool even = even_columns_copied(y), odd = odd_columns_copied(y);
        const bool own = own_is_even(y) ? even : odd;
        const bool other = own_is_even(y) ? odd : even;
        return own ? (other ? kBothCopied : kOwnCopied) : (other ? kOtherCopied : kNoneCopied);
    }

    // x: even. At the top and bottom row, the line beyond the frame is not looked
    // at and the row stands in for it.
    AdaptiveLines lines_at(size_t y, size_t x) {
        const size_t above = y == 0 ? 0 : y - 1;
        const size_t below = y == last_y_ ? last_y_ : y + 1;
        return {sample(y, x),
                sample(y ^ 1, x),
                green(y, x),
                {differences(above, x), differences(y, x), differences(below, x)}};
    }

    // Rows of which only the outermost columns copy.
    bool is_inner_row(size_t y) const { return y >= 2 && y + 2 <= last_y_; }

    // The common cases of put_pixels, which would otherwise take a fifth of the
    // time of a frame 640 pixels wide: an inner row's first pixel, and its last two
    // when the width is even.
    void put_first_pixel(const AdaptiveLines& lines, size_t y, uint8_t* out) {
        const bool even = own_is_even(y);
        put_border_pixel<kBytes>(out, f_.own_color_leads(y), lines.line[even ? 0 : 1],
                                 lines.green[0],
                                 even ? lines.beside[1] : AdaptivePixel(lines, 0, 1).from_column());
    }
    void put_last_pair(const AdaptiveLines& lines, size_t y, uint8_t* out) {
        const bool leads = f_.own_color_leads(y);
        const auto put = [&](int first_own, int first_other, int last_own, int last_other) {
            put_border_pixel<kBytes>(out, leads, first_own, lines.green[0], first_other);
            // The last alpha byte is not ours.
            put_border_pixel<kBytes == 4 ? 3 : kBytes>(out + kBytes, leads, last_own,
                                                       lines.green[1], last_other);
        };
        if (own_is_even(y)) {
            put(lines.line[0], AdaptivePixel(lines, 0, 0).from_corners(), lines.line[0],
                lines.beside[1]);
        } else {
            put(AdaptivePixel(lines, 0, 1).from_row(), lines.beside[0], lines.line[1],
                lines.beside[0]);
        }
    }

    // columns: even
    static AdaptiveLines lines_beyond(const AdaptiveLines& lines, ptrdiff_t columns) {
        const int16_t* const* differences = lines.differences;
        return {lines.line + columns,
                lines.beside + columns,
                lines.green + columns,
                {differences[0] + columns / 2, differences[1] + columns / 2,
                 differences[2] + columns / 2}};
    }

    // A sample that a pixel at the edge takes a colour from, in its own row or in
    // the other one of the cell.
    struct Copy {
        bool valid;
        size_t x;
    };
    Copy copy_of_even_columns(size_t y, size_t x) const {
        const bool whole_row = even_columns_copied(y);
        return {whole_row || x + 1 >= last_x_, (whole_row ? x : last_x_) & ~size_t{1}};
    }
    Copy copy_of_odd_columns(size_t y, size_t x) const {
        return {odd_columns_copied(y) || x == 0 || x == last_x_,
                std::min(x | 1, (last_x_ - 1) | 1)};
    }

    // Pixels from..to, the first of which goes to out; lines begin at `origin`, which is even.
    __attribute__((noinline)) void put_pixels(const AdaptiveLines& lines, size_t y, size_t origin,
                                              size_t from, size_t to, uint8_t* out) {
        const bool leads = f_.own_color_leads(y);
        const bool even = own_is_even(y);
        const auto at = [origin](size_t x) { return static_cast<ptrdiff_t>(x - origin); };
        for (size_t x = from; x < to; ++x, out += kBytes) {
            if (is_left_alone(y, x)) continue;
            const Copy own_copy = even ? copy_of_even_columns(y, x) : copy_of_odd_columns(y, x);
            const Copy other_copy = even ? copy_of_odd_columns(y, x) : copy_of_even_columns(y, x);
            const bool color_site = (x % 2 == 0) == even;
            const AdaptivePixel pixel(lines, at(x), even ? 0 : 1);
            const int green = lines.green[at(x)];
            const int own = color_site       ? lines.line[at(x)]
                            : own_copy.valid ? lines.line[at(own_copy.x)]
                                             : pixel.from_row();
            const int other = other_copy.valid ? lines.beside[at(other_copy.x)]
                              : color_site     ? pixel.from_corners()
                                               : pixel.from_column();
            // The alpha bytes of the last row and the last column are not ours.
            if (kBytes == 4 && (x == last_x_ || real_row(y) == last_y_)) {
                put_border_pixel<3>(out, leads, own, green, other);
            } else {
                put_border_pixel<kBytes>(out, leads, own, green, other);
            }
        }
    }

    bool is_left_alone(size_t y, size_t x) const {
        const size_t corner_row = f_.order == BayerOrder::BG ? last_y_ : 0;
        return f_.width % 2 != 0 && x == last_x_ && y == corner_row;
    }

    const BayerFrame& f_;
    alignas(64) uint8_t memory_[kMemory];
    const size_t columns_;
    SampleLines<kSampleSlots> samples_;
    // At column begin_.
    const uint8_t* rows_[kRowSlots];
    uint8_t* green_lines_[kGreenSlots];
    int16_t* difference_lines_[kGreenSlots];
    const size_t last_x_;
    const size_t last_y_;
    const bool wide_;  // kernels go from edge to edge: enough pixels for whole blocks
    size_t begin_ = 0;
    size_t end_ = 0;
    size_t green_begin_ = 0;
    size_t green_end_ = 0;
};

}  // namespace

void demosaic_adaptive(const BayerFrame& frame) {
    switch (frame.dst_bytes) {
        case 1:
            return AdaptiveFrame<1>(frame).run();
        case 3:
            return AdaptiveFrame<3>(frame).run();
        default:
            return AdaptiveFrame<4>(frame).run();
    }
}

}  // namespace imgcnv
