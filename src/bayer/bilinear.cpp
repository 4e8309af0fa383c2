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

#include <algorithm>

#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

using Lines = SampleLines<4>;

// The site kind that the border rules assume at column x.
bool is_border_color_site(const BayerFrame& frame, size_t y, size_t x) {
    return frame.is_color_site(y, x == 0 ? 0 : 1);
}

template <size_t kBytes>
void put_corner(const BayerFrame& frame, Lines& lines, size_t y, size_t x) {
    const size_t next_y = y == 0 ? 1 : y - 1;
    const size_t next_x = x == 0 ? 1 : x - 1;
    const int own = *lines.at(y, x);
    const int horizontal = *lines.at(y, next_x);
    const int vertical = *lines.at(next_y, x);
    const int diagonal = *lines.at(next_y, next_x);
    const bool gb = frame.order == BayerOrder::GB;

    if (is_border_color_site(frame, y, x)) {
        const int green = gb ? horizontal : avg2(vertical, horizontal);
        put_border_pixel<kBytes>(frame.dst(y, x), frame.own_color_leads(y), own, green, diagonal);
    } else {
        const int green = gb && y == 0 ? avg2(own, diagonal) : own;
        put_border_pixel<kBytes>(frame.dst(y, x), frame.own_color_leads(y), horizontal, green,
                                 vertical);
    }
}

// The first (kLast: last) pixel of an inner row. above, line, below: rows y-1, y,
// y+1 at its column.
template <size_t kBytes, bool kLast>
inline void put_side(uint8_t* dst, bool is_color_site, bool leads, bool gb, const uint8_t* above,
                     const uint8_t* line, const uint8_t* below) {
    constexpr ptrdiff_t kInside = kLast ? -1 : 1;
    if (is_color_site) {
        const int green = kLast || gb ? line[kInside] : above[0];
        const int other = avg2(above[kInside], below[kInside]);
        put_border_pixel<kBytes>(dst, leads, line[0], green, other);
    } else {
        const int other = avg2(above[0], below[0]);
        put_border_pixel<kBytes>(dst, leads, line[kInside], line[0], other);
    }
}

// Kernels take whole pairs of pixels at once, but half a pair apart. The last
// pixel of an odd number comes with the kTail before it, which are done twice: as
// pairs that begin one pixel later they are of the other phase.
constexpr size_t kTail = 16;

template <class Convert>
inline void convert_pixels(Phase phase, size_t pixels, Convert convert) {
    if (pixels % 2 == 0 || pixels < kTail) return convert(phase, 0, pixels);
    convert(phase, 0, pixels - 1);
    convert(phase == kColorFirst ? kGreenFirst : kColorFirst, pixels - kTail, kTail);
}

template <size_t kBytes>
void run(const BayerFrame& frame) {
    const size_t last_x = frame.width - 1;
    const size_t last_y = frame.height - 1;
    const bool gb = frame.order == BayerOrder::GB;
    const EdgeGreen edge_green = gb ? kGreenFromNextRow : kGreenFromRow;
    const bool gapless =
        frame.line_format.decode != nullptr || frame.src_rows[0] + frame.width == frame.src_rows[1];
    constexpr size_t kColumns = 8192;
    alignas(64) uint8_t memory[4 * line_bytes(kColumns)];
    Lines lines(frame, memory, kColumns);
    for_each_piece(frame, lines, frame.width, kColumns, 1, [&](size_t y, size_t begin, size_t end) {
        // The outermost columns are the border's. Kernels do them, too, where they may
        // look beyond the row: rows then begin at cache lines. (Where grey becomes of
        // it, what lies there decides on a branch: it must not be padding.)
        const bool inner = y != 0 && y != last_y;
        const bool whole = inner && (kBytes != 1 || gapless) && lines.may_look_beyond(y - 1, 1) &&
                           lines.may_look_beyond(y, 1) && lines.may_look_beyond(y + 1, 1);
        const size_t x = begin == 0 && !whole ? 1 : begin;
        const size_t interior_end = end < last_x || whole ? end : last_x;
        const size_t pixels = x < interior_end ? interior_end - x : 0;
        const Phase phase = frame.phase(y, x);
        const TripleSink sink = frame.sink(y);
        const uint8_t* line = lines.at(y, begin);
        if (!inner) {
            if (pixels != 0) {
                const uint8_t* next = lines.at(y == 0 ? 1 : y - 1, begin);
                uint8_t* dst = frame.dst(y, x);
                convert_pixels(phase, pixels, [&](Phase at, size_t from, size_t count) {
                    frame.kernels->bilinear_edge[edge_green][at][sink](line + (x - begin) + from,
                                                                       next + (x - begin) + from,
                                                                       dst + from * kBytes, count);
                });
            }
            if (begin == 0) put_corner<kBytes>(frame, lines, y, 0);
            if (end == frame.width) put_corner<kBytes>(frame, lines, y, last_x);
            return;
        }
        const uint8_t* above = lines.at(y - 1, begin);
        const uint8_t* below = lines.at(y + 1, begin);
        if (pixels != 0) {
            uint8_t* dst = frame.dst(y, x);
            convert_pixels(phase, pixels, [&](Phase at, size_t from, size_t count) {
                const size_t column = x - begin + from;
                frame.kernels->bilinear[at][sink](above + column, line + column, below + column,
                                                  dst + from * kBytes, count);
            });
        }
        // The last column's site is the other one, odd widths or not.
        const bool color_first = frame.is_color_site(y, 0), leads = frame.own_color_leads(y);
        if (begin == 0) {
            put_side<kBytes, false>(frame.dst(y, 0), color_first, leads, gb, above, line, below);
        }
        if (end == frame.width) {
            const size_t last = last_x - begin;
            put_side<kBytes, true>(frame.dst(y, last_x), !color_first, leads, gb, above + last,
                                   line + last, below + last);
        }
    });
}

}  // namespace

void demosaic_bilinear(const BayerFrame& frame) {
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
