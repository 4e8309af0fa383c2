// The edges of an adaptive frame: which pixels copy colours, and from where.
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
#pragma once

#include <algorithm>

#include "bayer/adaptive_plain.h"

namespace imgcnv {

class AdaptiveBorder {
  public:
    explicit AdaptiveBorder(const BayerFrame& frame)
        : f_(frame), last_x_(frame.width - 1), last_y_(frame.height - 1) {}

    // Rows of which only the outermost columns copy.
    bool is_inner_row(size_t y) const { return y >= 2 && y + 2 <= last_y_; }
    // Of the picture, which may be upside down.
    bool is_last_row(size_t y) const { return y == (f_.mirrored ? 0 : last_y_); }

    AdaptiveRow kind_of_row(size_t y) const {
        if (is_inner_row(y)) return kNoneCopied;
        const bool even = even_columns_copied(y), odd = odd_columns_copied(y);
        const bool own = own_is_even(y) ? even : odd;
        const bool other = own_is_even(y) ? odd : even;
        return own ? (other ? kBothCopied : kOwnCopied) : (other ? kOtherCopied : kNoneCopied);
    }

    // Pixels from..to, the first of which goes to out; lines begin at `origin`, which is even.
    template <size_t kBytes>
    __attribute__((noinline)) void put_pixels(const AdaptiveLines& lines, size_t y, size_t origin,
                                              size_t from, size_t to, uint8_t* out) const {
        const ptrdiff_t own_byte = f_.own_byte(y);
        const bool own_even = own_is_even(y);
        const bool even_row = even_columns_copied(y), odd_row = odd_columns_copied(y);
        constexpr size_t kNowhere = ~size_t{0};
        // The sample, in its own row or in the other one of the cell, that the pixel in
        // column x takes the colour of the even (odd) columns from.
        const auto copied_from = [&](bool even_columns, size_t x) {
            if (even_columns) {
                return even_row          ? x & ~size_t{1}
                       : x + 1 < last_x_ ? kNowhere
                                         : last_x_ & ~size_t{1};
            }
            const bool copied = odd_row || x == 0 || x == last_x_;
            return copied ? std::min(x | 1, (last_x_ - 1) | 1) : kNowhere;
        };
        const auto at = [origin](size_t x) {
            return static_cast<ptrdiff_t>(x) - static_cast<ptrdiff_t>(origin);
        };
        const bool last_row = is_last_row(y);
        for (size_t x = from; x < to; ++x, out += kBytes) {
            if (is_left_alone(y, x)) continue;
            const bool color_site = (x % 2 == 0) == own_even;
            const AdaptivePixel pixel(lines, at(x), own_even ? 0 : 1);
            const int green = lines.green[at(x)];
            int own = lines.line[at(x)];
            if (!color_site) {
                const size_t copy = copied_from(own_even, x);
                own = copy != kNowhere ? lines.line[at(copy)] : pixel.from_row();
            }
            const size_t copy = copied_from(!own_even, x);
            const int other = copy != kNowhere ? lines.beside[at(copy)]
                              : color_site     ? pixel.from_corners()
                                               : pixel.from_column();
            // The alpha bytes of the last row and the last column are not ours.
            if (kBytes == 4 && (x == last_x_ || last_row)) {
                put_pixel<3>(out, own_byte, own, green, other);
            } else {
                put_pixel<kBytes>(out, own_byte, own, green, other);
            }
        }
    }

  private:
    // Whether the colour of the even (odd) columns is copied all along a row.
    bool even_columns_copied(size_t y) const {
        return f_.order == BayerOrder::BG ? y + 1 >= last_y_ : y <= 1;
    }
    bool odd_columns_copied(size_t y) const { return y == 0 || y == last_y_; }
    // Whether a row's own colour is that of the even columns.
    bool own_is_even(size_t y) const { return f_.is_color_site(y, 0); }

    bool is_left_alone(size_t y, size_t x) const {
        const size_t corner_row = f_.order == BayerOrder::BG ? last_y_ : 0;
        return f_.width % 2 != 0 && x == last_x_ && y == corner_row;
    }

    const BayerFrame& f_;
    const size_t last_x_;
    const size_t last_y_;
};

}  // namespace imgcnv
