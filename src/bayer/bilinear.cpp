// Bilinear demosaic: the frame around the row kernels.
//
// The outermost rows and columns lack neighbours. Their rules differ between
// the orders, on purpose: users compare pictures byte for byte.
//
//   left column, colour site    green from above; in GB from the right
//   top and bottom row,
//     colour site               green from the left; in GB from the next row
//   corner at a colour site     green is the mean of its two neighbours; in GB
//                               the horizontal neighbour's
//   corner at a green site      own green; in GB the top left one is the mean of
//                               itself and the diagonal green
//
// With an odd width the last column is treated as if it were an odd column, that
// is with the site kinds it would have one column further: its colours are
// mis-assigned, and stay so.

#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

// Kernels take whole pairs of pixels at once, but half a pair apart. The last
// pixel of an odd number comes with the kTail before it, which are done twice: as
// pairs that begin one pixel later they are of the other phase.
constexpr size_t kTail = 16;

template <size_t kBytes>
class BilinearFrame {
  public:
    explicit BilinearFrame(const BayerFrame& frame)
        : f_(frame),
          lines_(frame, memory_, kColumns),
          last_x_(frame.width - 1),
          last_y_(frame.height - 1),
          gb_(frame.order == BayerOrder::GB),
          gapless_(frame.line_format.decode != nullptr ||
                   frame.src_rows[0] + frame.width == frame.src_rows[1]) {
        for (size_t y = 0; y < 2; ++y) {
            const auto kernel = [&](size_t x) {
                return f_.kernels->bilinear[f_.phase(y, x)][f_.sink(y)];
            };
            inner_[y] = {{kernel(0), kernel(1)}, f_.own_byte(y)};
        }
    }

    void run() {
        for_each_strip(f_, lines_, f_.width, kColumns, [this](size_t begin, size_t end) {
            const size_t columns = end - begin, odd = columns % 2;
            const bool is_first = begin == 0, is_last = end == f_.width;
            const bool may_run_over = is_first && is_last;
            const Strip strip = {begin, columns, is_first, is_last,
                                 odd == 0 || may_run_over ? columns + odd : 0};
            make_edge(strip, 0, 1);
            make_inner_rows(strip);
            make_edge(strip, last_y_, last_y_ - 1);
        });
    }

  private:
    static constexpr size_t kColumns = 8192;
    static constexpr ptrdiff_t kLookBeyond = 2;  // one, and an odd row's pixel too many

    struct Strip {
        size_t begin;
        size_t columns;
        bool is_first;
        bool is_last;
        // The pixels of a row with which kernels go from edge to edge, or 0. One too many
        // completes the pairs of an odd row: it is the next row's first, which is yet to be
        // written unless this is a later strip.
        size_t whole_pixels;
    };
    // What the inner rows have in common that are even, or odd.
    struct InnerRow {
        BilinearKernel kernels[2];  // from an even, from an odd column on
        ptrdiff_t own_byte;
    };
    // A row from the strip's first column on.
    struct Line {
        const uint8_t* samples;
        bool may_look_beyond;  // kLookBeyond samples before and after all of the row's
    };
    Line line_at(size_t y, size_t begin) {
        return {lines_.at(y, begin), lines_.may_look_beyond(y, kLookBeyond)};
    }

    struct Rows {
        const uint8_t *above, *line, *below;
    };

    // What a row needs is at hand in locals: rows of small frames take no longer than that.
    void make_inner_rows(const Strip strip) {
        const InnerRow even = inner_[0], odd = inner_[1];
        const bool even_color_first = f_.phase(0, 0) == kColorFirst;
        const bool may_be_whole = kBytes != 1 || gapless_, gb = gb_;
        uint8_t* const* const dst_rows = f_.dst_rows;
        const size_t last_y = last_y_;
        Line above = line_at(0, strip.begin), line = line_at(1, strip.begin);
        for (size_t y = 1; y < last_y; ++y) {
            const Line below = line_at(y + 1, strip.begin);
            // The outermost columns are the border's. Kernels do them, too, where they may
            // look beyond the row: rows then begin at cache lines. (Where grey becomes of
            // it, what lies there decides on a branch: it must not be padding.)
            const bool whole = may_be_whole && above.may_look_beyond && line.may_look_beyond &&
                               below.may_look_beyond;
            const Rows rows = {above.samples, line.samples, below.samples};
            uint8_t* dst = dst_rows[y] + strip.begin * kBytes;
            const InnerRow& row = y % 2 == 0 ? even : odd;
            if ((y % 2 == 0) == even_color_first) {
                make_inner<kColorFirst>(strip, row, rows, dst, whole, gb);
            } else {
                make_inner<kGreenFirst>(strip, row, rows, dst, whole, gb);
            }
            above = line;
            line = below;
        }
    }

    template <Phase kPhase>
    static inline void make_inner(const Strip& strip, const InnerRow& row, const Rows& rows,
                                  uint8_t* dst, bool whole, bool gb) {
        if (whole && strip.whole_pixels != 0) {
            row.kernels[0](rows.above, rows.line, rows.below, dst, strip.whole_pixels);
        } else {
            convert(strip, dst, whole, [&](size_t x, uint8_t* out, size_t pixels) {
                row.kernels[x % 2](rows.above + x, rows.line + x, rows.below + x, out, pixels);
            });
        }
        // The last column's site is the other one, odd widths or not.
        if (strip.is_first) put_side<kPhase == kColorFirst, false>(row.own_byte, rows, 0, dst, gb);
        if (strip.is_last) {
            const size_t x = strip.columns - 1;
            put_side<kPhase != kColorFirst, true>(row.own_byte, rows, x, dst + x * kBytes, gb);
        }
    }

    // The top or the bottom row; next: the one inside.
    void make_edge(const Strip& strip, size_t y, size_t next_y) {
        const uint8_t* line = lines_.at(y, strip.begin);
        const uint8_t* next = lines_.at(next_y, strip.begin);
        const auto& kernels = f_.kernels->bilinear_edge[gb_ ? kGreenFromNextRow : kGreenFromRow];
        convert(strip, f_.dst(y, strip.begin), false, [&](size_t x, uint8_t* out, size_t pixels) {
            kernels[f_.phase(y, x)][f_.sink(y)](line + x, next + x, out, pixels);
        });
        if (strip.is_first) put_corner(y, next_y, 0);
        if (strip.is_last) put_corner(y, next_y, last_x_);
    }

    // Calls kernel(first column in the strip, destination, pixels) for the strip's part of a
    // row, the outermost columns with it or not.
    template <class Kernel>
    static inline void convert(const Strip& strip, uint8_t* dst, bool whole, Kernel kernel) {
        const size_t from = strip.is_first && !whole ? 1 : 0;
        const size_t to = strip.columns - (strip.is_last && !whole ? 1 : 0);
        if (from >= to) return;
        const size_t odd = to - from < kTail ? 0 : (to - from) % 2;
        kernel(from, dst + from * kBytes, to - from - odd);
        if (odd != 0) kernel(to - kTail, dst + (to - kTail) * kBytes, kTail);
    }

    // The first (kLast: last) pixel of an inner row.
    template <bool kColorSite, bool kLast>
    static inline void put_side(ptrdiff_t own_byte, const Rows& rows, size_t x, uint8_t* dst,
                                bool gb) {
        constexpr ptrdiff_t kInside = kLast ? -1 : 1;
        const uint8_t *above = rows.above + x, *line = rows.line + x, *below = rows.below + x;
        if constexpr (kColorSite) {
            const int green = kLast || gb ? line[kInside] : above[0];
            put_pixel<kBytes>(dst, own_byte, line[0], green, avg2(above[kInside], below[kInside]));
        } else {
            put_pixel<kBytes>(dst, own_byte, line[kInside], line[0], avg2(above[0], below[0]));
        }
    }

    void put_corner(size_t y, size_t next_y, size_t x) {
        const size_t next_x = x == 0 ? 1 : x - 1;
        const int own = *lines_.at(y, x);
        const int horizontal = *lines_.at(y, next_x);
        const int vertical = *lines_.at(next_y, x);
        const int diagonal = *lines_.at(next_y, next_x);
        // The last column's site is the other one, odd widths or not.
        if (f_.is_color_site(y, x == 0 ? 0 : 1)) {
            const int green = gb_ ? horizontal : avg2(vertical, horizontal);
            put_pixel<kBytes>(f_.dst(y, x), f_.own_byte(y), own, green, diagonal);
        } else {
            const int green = gb_ && y == 0 ? avg2(own, diagonal) : own;
            put_pixel<kBytes>(f_.dst(y, x), f_.own_byte(y), horizontal, green, vertical);
        }
    }

    const BayerFrame& f_;
    alignas(64) uint8_t memory_[4 * line_bytes(kColumns)];
    SampleLines<4> lines_;
    const size_t last_x_;
    const size_t last_y_;
    const bool gb_;
    const bool gapless_;
    InnerRow inner_[2];
};

}  // namespace

void demosaic_bilinear(const BayerFrame& frame) {
    switch (frame.dst_bytes) {
        case 1:
            return BilinearFrame<1>(frame).run();
        case 3:
            return BilinearFrame<3>(frame).run();
        default:
            return BilinearFrame<4>(frame).run();
    }
}

}  // namespace imgcnv
