// Adaptive demosaic: the frame around the row kernels.
//
// A ring of green lines, and of the differences between colour and green, runs
// one row ahead of the colour rows, so that the frame is passed over once. Two rows and columns
// along each edge lack neighbours: there, green is the mean of the two greens of the 2x2 cell, and
// red and blue are copied from a sample nearby. Which rows and columns copy, and from where,
// differs between the orders and is kept so:
//
//              GB                               BG
//   red        rows 0, 1: the cell's            row 0: the cell's
//              last column pair: the cell's     column 0, row H-1, last column:
//                                               the next red sample
//   blue       row 0, row H-1, column 0,        row pair H-2, H-1 and last column
//              last column: the next blue       pair: the cell's
//              sample
//
// RG is GB with the frame upside down: the row tables of an RG frame come in
// reverse order, and the frame as a GB one.
//
// An odd width has a last column without a cell. Its cell is then the one that
// begins at column W-2 and shares that column; one corner pixel has no blue
// sample to copy and is left as it was.

#include <algorithm>

#include "bayer/adaptive_plain.h"
#include "bayer/output_rows.h"

namespace imgcnv {
namespace {

template <size_t kBytes>
class AdaptiveStrip {
  public:
    explicit AdaptiveStrip(const BayerFrame& frame)
        : f_(frame),
          samples_(frame),
          out_(frame),
          last_x_(frame.width - 1),
          last_y_(frame.height - 1) {}

    void run(size_t begin, size_t end) {
        begin_ = begin;
        end_ = end;
        // Colour looks one column beyond the strip at green; two keep pairs whole.
        green_begin_ = begin == 0 ? 0 : begin - 2;
        green_end_ = std::min(end + 2, f_.width);
        samples_.begin_strip(begin, end);
        make_green(0);
        for (size_t y = 0; y <= last_y_; ++y) {
            if (y < last_y_) make_green(y + 1);
            make_color(y);
        }
    }

  private:
    static constexpr size_t kGreenSlots = 4;
    // Before the first column of a line: the kernels begin two columns on, at a
    // cache line then.
    static constexpr size_t kGreenLead = 62;
    static constexpr size_t kGreenColumns = kGreenLead + kStripColumns + 4;

    const uint8_t* sample(size_t y, size_t x) { return samples_.at(y, x); }
    uint8_t* green(size_t y, size_t x) {
        return green_[y % kGreenSlots] + kGreenLead + (x - green_begin_);
    }
    // Of the pair that x belongs to.
    int16_t* differences(size_t y, size_t x) {
        return differences_[y % kGreenSlots] + (kGreenLead + (x - green_begin_)) / 2;
    }

    // Rows 0 and 1 and the last two come in pairs, at the first of them.
    void make_green(size_t y) {
        const bool edge_pair = y < 2 || y + 2 > last_y_;
        if (edge_pair && y % 2 != 0) return;
        if (edge_pair) {
            const size_t even_begin = green_begin_ + green_begin_ % 2;
            const size_t pixels =
                green_end_ < even_begin ? 0 : (green_end_ - even_begin) & ~size_t{1};
            const uint8_t* const rows[2] = {sample(y, even_begin), sample(y + 1, even_begin)};
            uint8_t* const greens[2] = {green(y, even_begin), green(y + 1, even_begin)};
            int16_t* const differences_of[2] = {differences(y, even_begin),
                                                differences(y + 1, even_begin)};
            f_.kernels->cell_green[f_.phase(y, 0)](rows, greens, differences_of, pixels);
            for (const size_t row : {y, y + 1}) {
                fill_from_cells(row, green_begin_, even_begin);
                fill_from_cells(row, even_begin + pixels, green_end_);
            }
            return;
        }
        const auto [from, to] = inner(green_begin_, green_end_);
        fill_from_cells(y, green_begin_, from);
        if (to > from) {
            const uint8_t* const lines[5] = {sample(y - 2, from), sample(y - 1, from),
                                             sample(y, from), sample(y + 1, from),
                                             sample(y + 2, from)};
            f_.kernels->adaptive_green[f_.phase(y, from)](lines, green(y, from),
                                                          differences(y, from), to - from);
        }
        fill_from_cells(y, to, green_end_);
    }

    // The columns of [begin, end) that have two neighbours on either side.
    struct Columns {
        size_t from, to;
    };
    Columns inner(size_t begin, size_t end) const {
        const size_t from = std::min(std::max<size_t>(begin, 2), end);
        return {from, std::max(from, std::min(end, last_x_ < 2 ? 0 : last_x_ - 1))};
    }

    // Green of the 2x2 cells: a colour site has the mean of its cell's greens.
    void fill_from_cells(size_t y, size_t from, size_t to) {
        if (from == to) return;
        const uint8_t* const line[2] = {sample(y & ~size_t{1}, from), sample(y | 1, from)};
        uint8_t* out = green(y, from);
        for (size_t x = from; x < to; ++x) {
            if (f_.is_color_site(y, x)) {
                // The lone last column of an odd width shares the one before it.
                const size_t left = std::min(x & ~size_t{1}, last_x_ - 1);
                const size_t top_green = f_.is_color_site(0, left) ? 1 : 0;
                const ptrdiff_t cell = static_cast<ptrdiff_t>(left) - static_cast<ptrdiff_t>(from);
                out[x - from] = static_cast<uint8_t>(
                    avg2(line[0][cell + static_cast<ptrdiff_t>(top_green)],
                         line[1][cell + 1 - static_cast<ptrdiff_t>(top_green)]));
            } else {
                out[x - from] = line[y & 1][x - from];
            }
        }
        for (size_t pair = from & ~size_t{1}; pair < to; pair += 2) {
            const size_t x = pair + (f_.is_color_site(y, pair) ? 0 : 1);
            if (x >= to) break;
            *differences(y, pair) = static_cast<int16_t>(*sample(y, x) - *green(y, x));
        }
    }

    void make_color(size_t y) {
        const AdaptiveRow row = kind_of_row(y);
        auto [from, to] = inner(begin_, end_);
        to -= (to - from) % 2;  // kernels are quick with whole pairs
        // The alpha bytes of the last row are not ours: pixel by pixel.
        if (kBytes == 4 && real_row(y) == last_y_) from = to = end_;
        put_pixels(y, begin_, from);
        if (to > from) {
            AdaptiveLines lines = lines_at(y, from);
            if (row == kOtherCopied || row == kBothCopied) {
                lines.beside = sample(y == last_y_ ? y - 1 : y + 1, from);
            }
            f_.kernels->adaptive_color[row][f_.phase(y, from)][f_.sink(y)](
                lines, out_.begin(y, from), to - from);
            out_.end(y, from, to - from);
        }
        put_pixels(y, to, end_);
    }

    size_t real_row(size_t y) const { return f_.mirrored ? last_y_ - y : y; }

    // Which colours of a row's inner pixels are copied; see the table above.
    AdaptiveRow kind_of_row(size_t y) const {
        const bool bg = f_.order == BayerOrder::BG;
        const bool red = bg ? y == 0 || y == last_y_ : y <= 1;
        const bool blue = bg ? y + 1 >= last_y_ : y == 0 || y == last_y_;
        const bool own = f_.row_has_red(y) ? red : blue;
        const bool other = f_.row_has_red(y) ? blue : red;
        return own ? (other ? kBothCopied : kOwnCopied) : (other ? kOtherCopied : kNoneCopied);
    }

    // At the top and bottom row a pixel only looks at its own row; the line
    // beyond the frame then stands for itself.
    AdaptiveLines lines_at(size_t y, size_t x) {
        const size_t above = y == 0 ? 0 : y - 1;
        const size_t below = y == last_y_ ? last_y_ : y + 1;
        const uint8_t* line = sample(y, x);
        return {line,
                line,
                green(y, x),
                {differences(above, x), differences(y, x), differences(below, x)}};
    }

    // from: even
    void put_pixels(size_t y, size_t from, size_t to) {
        if (from == to) return;
        const AdaptiveLines lines = lines_at(y, from);
        const bool red_row = f_.row_has_red(y);
        const bool leads = f_.own_color_leads(y);
        const ptrdiff_t color = f_.is_color_site(y, 0) ? 0 : 1;
        for (size_t x = from; x < to; ++x) {
            if (is_left_alone(y, x)) continue;
            const ptrdiff_t i = static_cast<ptrdiff_t>(x - from);
            const AdaptivePixel pixel(lines, i, color);
            const auto channel = [&](bool red) __attribute__((always_inline))->uint8_t {
                const bool color_site = f_.is_color_site(y, x);
                if (red == red_row && color_site) return lines.line[i];
                const Site site = f_.order == BayerOrder::BG
                                      ? (red ? red_copy_bg(y, x) : blue_copy_bg(y, x))
                                      : (red ? red_copy_gb(y, x) : blue_copy_gb(y, x));
                if (site.copied) return *sample(site.y, site.x);
                if (red == red_row) return pixel.from_row();
                return color_site ? pixel.from_corners() : pixel.from_column();
            };
            const int own = channel(red_row);
            const int other = channel(!red_row);
            // The alpha bytes of the last row and the last column are not ours.
            if (kBytes == 4 && (x == last_x_ || real_row(y) == last_y_)) {
                put_border_pixel<3>(f_.dst(y, x), leads, own, lines.green[i], other);
            } else {
                put_border_pixel<kBytes>(f_.dst(y, x), leads, own, lines.green[i], other);
            }
        }
    }

    bool is_left_alone(size_t y, size_t x) const {
        const size_t corner_row = f_.order == BayerOrder::BG ? last_y_ : 0;
        return f_.width % 2 != 0 && x == last_x_ && y == corner_row;
    }

    // The sample that a pixel at the edge takes its red or blue from, at most one
    // row away; or none, when that comes from differences.
    struct Site {
        bool copied = false;
        size_t y = 0;
        size_t x = 0;
    };
    Site red_copy_gb(size_t y, size_t x) const {  // red at (odd, even)
        if (y <= 1) return {true, 1, x & ~size_t{1}};
        if (x + 1 >= last_x_) return {true, y | 1, last_even()};
        return {};
    }
    Site blue_copy_gb(size_t y, size_t x) const {  // blue at (even, odd)
        if (y == 0) return {true, 0, x | 1};
        if (y == last_y_) return {true, y - 1, std::min(x | 1, last_odd())};
        if (x == 0) return {true, y & ~size_t{1}, 1};
        if (x == last_x_) return {true, y & ~size_t{1}, last_odd()};
        return {};
    }
    Site red_copy_bg(size_t y, size_t x) const {  // red at (odd, odd)
        if (y == 0) return {true, 1, std::min(x | 1, last_odd())};
        if (y == last_y_) return {true, y, x | 1};
        if (x == 0) return {true, y | 1, 1};
        if (x == last_x_) return {true, y | 1, last_odd()};
        return {};
    }
    Site blue_copy_bg(size_t y, size_t x) const {  // blue at (even, even)
        if (y + 1 >= last_y_) return {true, last_y_ - 1, x & ~size_t{1}};
        if (x + 1 >= last_x_) return {true, y & ~size_t{1}, last_even()};
        return {};
    }
    size_t last_even() const { return last_x_ & ~size_t{1}; }
    size_t last_odd() const { return (last_x_ - 1) | 1; }

    const BayerFrame& f_;
    SampleLines<8> samples_;  // rows y-1 .. y+3 at a time
    OutputRows<1> out_;
    const size_t last_x_;
    const size_t last_y_;
    size_t begin_ = 0;
    size_t end_ = 0;
    size_t green_begin_ = 0;
    size_t green_end_ = 0;
    alignas(64) uint8_t green_[kGreenSlots][(kGreenColumns + 63) / 64 * 64];
    alignas(64) int16_t differences_[kGreenSlots][(kGreenColumns + 63) / 64 * 32];
};

template <size_t kBytes>
void run(const BayerFrame& frame) {
    AdaptiveStrip<kBytes> strip(frame);
    for (size_t x = 0; x < frame.width; x += kStripColumns) {
        strip.run(x, std::min(x + kStripColumns, frame.width));
    }
}

}  // namespace

void demosaic_adaptive(const BayerFrame& frame) {
    switch (frame.dst_bytes) {
        case 1:
            run<1>(frame);
            break;
        case 3:
            run<3>(frame);
            break;
        default:
            run<4>(frame);
            break;
    }
}

}  // namespace imgcnv
