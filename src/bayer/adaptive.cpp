// Adaptive demosaic: the frame around the row kernels.
//
// A ring of green lines runs one row ahead of the colour rows, so that the frame
// is passed over once. Two rows and columns along each edge lack neighbours:
// there, green is the mean of the two greens of the 2x2 cell, and red and blue
// are copied from a sample nearby. Which rows and columns copy, and from where,
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
#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

class AdaptiveStrip {
  public:
    explicit AdaptiveStrip(const BayerFrame& frame)
        : f_(frame), samples_(frame), last_x_(frame.width - 1), last_y_(frame.height - 1) {}

    void run(size_t begin, size_t end) {
        begin_ = begin;
        end_ = end;
        // Colour looks one column beyond the strip at green.
        green_begin_ = begin == 0 ? 0 : begin - 1;
        green_end_ = std::min(end + 1, f_.width);
        samples_.begin_strip(begin, end);
        make_green(0);
        for (size_t y = 0; y <= last_y_; ++y) {
            if (y < last_y_) make_green(y + 1);
            make_color(y);
        }
    }

  private:
    static constexpr size_t kGreenSlots = 4;

    const uint8_t* sample(size_t y, size_t x) { return samples_.at(y, x); }
    uint8_t* green(size_t y, size_t x) { return green_[y % kGreenSlots] + (x - green_begin_); }

    void make_green(size_t y) {
        const auto fill_from_cells = [&](size_t from, size_t to) {
            for (size_t x = from; x < to; ++x) *green(y, x) = cell_green(y, x);
        };
        if (y < 2 || y + 2 > last_y_ || f_.width < 5) {
            fill_from_cells(green_begin_, green_end_);
            return;
        }
        const size_t from = std::max<size_t>(green_begin_, 2);
        const size_t to = std::max(from, std::min(green_end_, last_x_ - 1));
        fill_from_cells(green_begin_, from);
        if (to > from) {
            const uint8_t* const lines[5] = {sample(y - 2, from), sample(y - 1, from),
                                             sample(y, from), sample(y + 1, from),
                                             sample(y + 2, from)};
            f_.kernels->adaptive_green[f_.phase(y, from)](lines, green(y, from), to - from);
        }
        fill_from_cells(to, green_end_);
    }

    uint8_t cell_green(size_t y, size_t x) {
        if (!f_.is_color_site(y, x)) return *sample(y, x);
        const size_t top = y & ~size_t{1};
        // The lone last column of an odd width shares the column before it.
        const size_t left = std::min(x & ~size_t{1}, last_x_ - 1);
        const size_t green_at_top = f_.is_color_site(top, left) ? left + 1 : left;
        const size_t green_at_bottom = 2 * left + 1 - green_at_top;
        return static_cast<uint8_t>(
            avg2(*sample(top, green_at_top), *sample(top + 1, green_at_bottom)));
    }

    void make_color(size_t y) {
        if (!row_has_interior(y)) {
            put_pixels(y, begin_, end_);
            return;
        }
        const size_t from = std::min(std::max<size_t>(begin_, 1), end_);
        const size_t to = std::max(from, std::min(end_, last_x_ < 2 ? 0 : last_x_ - 1));
        put_pixels(y, begin_, from);
        if (to > from) {
            const AdaptiveLines lines = lines_at(y, from);
            f_.kernels->adaptive_color[f_.phase(y, from)][f_.sink(y)](lines.samples, lines.green,
                                                                      f_.dst(y, from), to - from);
        }
        put_pixels(y, to, end_);
    }

    // Whether red and blue of the row's inner pixels both come from differences.
    bool row_has_interior(size_t y) const {
        return f_.order == BayerOrder::BG ? y >= 1 && y + 2 <= last_y_ : y >= 2 && y < last_y_;
    }

    // At the top and bottom row a pixel only looks at its own row; the line
    // beyond the frame then stands for itself.
    AdaptiveLines lines_at(size_t y, size_t x) {
        const size_t above = y == 0 ? 0 : y - 1;
        const size_t below = y == last_y_ ? last_y_ : y + 1;
        return {{sample(above, x), sample(y, x), sample(below, x)},
                {green(above, x), green(y, x), green(below, x)}};
    }

    void put_pixels(size_t y, size_t from, size_t to) {
        const TripleSink sink = f_.sink(y);
        const bool red_row = f_.row_has_red(y);
        const size_t real_y = f_.mirrored ? last_y_ - y : y;
        for (size_t x = from; x < to; ++x) {
            if (is_left_alone(y, x)) continue;
            const int red = color_at(y, x, true);
            const int blue = color_at(y, x, false);
            // The alpha bytes of the last row and the last column are not ours.
            const bool keep_alpha = real_y == last_y_ || x == last_x_;
            put_border_pixel(keep_alpha ? without_alpha(sink) : sink, f_.dst(y, x),
                             red_row ? red : blue, *green(y, x), red_row ? blue : red);
        }
    }

    static TripleSink without_alpha(TripleSink sink) {
        if (sink == kAbc0) return kAbc;
        if (sink == kCba0) return kCba;
        return sink;
    }

    bool is_left_alone(size_t y, size_t x) const {
        const size_t corner_row = f_.order == BayerOrder::BG ? last_y_ : 0;
        return f_.width % 2 != 0 && x == last_x_ && y == corner_row;
    }

    // Red or blue of any pixel.
    uint8_t color_at(size_t y, size_t x, bool red) {
        const bool own_row = f_.row_has_red(y) == red;
        const bool color_site = f_.is_color_site(y, x);
        if (own_row && color_site) return *sample(y, x);
        if (const uint8_t* copied = f_.order == BayerOrder::BG
                                        ? (red ? red_copy_bg(y, x) : blue_copy_bg(y, x))
                                        : (red ? red_copy_gb(y, x) : blue_copy_gb(y, x))) {
            return *copied;
        }
        const AdaptiveLines lines = lines_at(y, x);
        if (own_row) return lines.from_row(0);
        return color_site ? lines.from_corners(0) : lines.from_column(0);
    }

    // The sample that a pixel at the edge takes its red or blue from, or null.
    const uint8_t* red_copy_gb(size_t y, size_t x) {  // red at (odd, even)
        if (y <= 1) return sample(1, x & ~size_t{1});
        if (x + 1 >= last_x_) return sample(y | 1, last_even());
        return nullptr;
    }
    const uint8_t* blue_copy_gb(size_t y, size_t x) {  // blue at (even, odd)
        if (y == 0) return sample(0, x | 1);
        if (y == last_y_) return sample(y - 1, std::min(x | 1, last_odd()));
        if (x == 0) return sample(y & ~size_t{1}, 1);
        if (x == last_x_) return sample(y & ~size_t{1}, last_odd());
        return nullptr;
    }
    const uint8_t* red_copy_bg(size_t y, size_t x) {  // red at (odd, odd)
        if (y == 0) return sample(1, std::min(x | 1, last_odd()));
        if (y == last_y_) return sample(y, x | 1);
        if (x == 0) return sample(y | 1, 1);
        if (x == last_x_) return sample(y | 1, last_odd());
        return nullptr;
    }
    const uint8_t* blue_copy_bg(size_t y, size_t x) {  // blue at (even, even)
        if (y + 1 >= last_y_) return sample(last_y_ - 1, x & ~size_t{1});
        if (x + 1 >= last_x_) return sample(y & ~size_t{1}, last_even());
        return nullptr;
    }
    size_t last_even() const { return last_x_ & ~size_t{1}; }
    size_t last_odd() const { return (last_x_ - 1) | 1; }

    const BayerFrame& f_;
    SampleLines<8> samples_;  // rows y-1 .. y+3 at a time
    const size_t last_x_;
    const size_t last_y_;
    size_t begin_ = 0;
    size_t end_ = 0;
    size_t green_begin_ = 0;
    size_t green_end_ = 0;
    uint8_t green_[kGreenSlots][kStripColumns + 2];
};

}  // namespace

void demosaic_adaptive(const BayerFrame& frame) {
    AdaptiveStrip strip(frame);
    for (size_t x = 0; x < frame.width; x += kStripColumns) {
        strip.run(x, std::min(x + kStripColumns, frame.width));
    }
}

}  // namespace imgcnv
