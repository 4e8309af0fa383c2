// Bilinear demosaic: the frame around the row kernels, which go from edge to edge.
//
// The outermost rows and columns lack neighbours. Their rules differ between
// the orders, on purpose: users compare pictures byte for byte.
//
//   left column, chroma site    green from above; in GB from the right
//   right column, chroma site   green from the left
//   top and bottom row,
//     chroma site               green from the left; in GB from the next row
//   corner at a chroma site     green is the mean of its two neighbours; in GB
//                               the horizontal neighbour's
//   corner at a green site      own green; in GB the top left one is the mean of
//                               itself and the diagonal green
//
// With an odd width the last column is treated as if it were an odd column, that
// is with the site kinds it would have one column further: its colours are
// mis-assigned, and stay so.

#include "bayer/border_row.h"
#include "bayer/sample_lines.h"

namespace imgcnv {
namespace {

enum Edge { kInner, kTop, kBottom };

// Three rows from the strip's first column on. At the top and the bottom, above and below both
// are the row inside the frame.
struct Rows {
    const uint8_t *above, *line, *below;
};

// What the even rows, or the odd ones, have in common.
struct RowKind {
    BilinearKernel kernel;
    ptrdiff_t own_byte;
    bool starts_with_chroma;
};

// Green of the outermost pixel in column x; `inside` is the column beside it.
template <Edge kEdge>
inline int border_green(const Rows& rows, ptrdiff_t x, ptrdiff_t inside, bool is_chroma,
                        bool is_gb) {
    const bool is_left = inside > x;
    if (is_chroma) {
        if (is_gb || (kEdge == kInner && !is_left)) return rows.line[inside];
        return kEdge == kInner ? rows.above[x] : avg2(rows.above[x], rows.line[inside]);
    }
    if (kEdge == kTop && is_gb && is_left) return avg2(rows.line[x], rows.above[inside]);
    return rows.line[x];
}

template <size_t kBytes>
class BilinearFrame {
  public:
    explicit BilinearFrame(const BayerFrame& frame)
        : f_(frame),
          lines_(frame, {memory_, kLines, kColumns}, kReach, kLumaBranches),
          last_y_(frame.height - 1),
          is_gb_(frame.order == BayerOrder::GB) {
        for (size_t y = 0; y < 2; ++y) {
            kinds_[y] = {f_.kernels->bilinear[f_.row_start(y)][f_.target(y)], f_.own_byte(y),
                         f_.starts_with_chroma(y)};
        }
    }

    void run() {
        for_each_strip(f_.width, kColumns, [this](const Strip& strip) { run_strip(strip); });
    }

  private:
    static constexpr size_t kColumns = 6720, kLines = 4;
    static constexpr ptrdiff_t kReach = 1;
    // Grey kernels branch on what they compute, also of what lies beyond a row.
    static constexpr bool kLumaBranches = kBytes == 1;

    void run_strip(const Strip& strip) {
        lines_.begin_strip(strip);
        const auto line = [this](size_t y) { return lines_.line(std::min(y, last_y_), kReach); };
        Rows rows = {line(0), line(1), line(2)};
        convert_edge_row<kTop>(strip, 0, {rows.line, rows.above, rows.line});
        for (size_t y = 1; y < last_y_; ++y) {
            // Decoded a row ahead: reading a line just written waits for all of its stores.
            const uint8_t* next = line(y + 2);
            if (f_.is_read(y)) convert_inner_row(strip, y, rows);
            rows = {rows.line, rows.below, next};
        }
        convert_edge_row<kBottom>(strip, last_y_, {rows.above, rows.line, rows.above});
    }

    inline void convert_inner_row(const Strip& strip, size_t y, const Rows& rows) {
        const RowKind& kind = kinds_[y % 2];
        uint8_t* dst = f_.dst_rows[y] + strip.begin * kBytes;
        kind.kernel(rows.above, rows.line, rows.below, dst, strip.paired_columns());
        if (kind.starts_with_chroma) {
            fix_sides<kInner>(strip, true, kind.own_byte, rows, dst);
        } else {
            fix_sides<kInner>(strip, false, kind.own_byte, rows, dst);
        }
    }

    template <Edge kEdge>
    void convert_edge_row(const Strip& strip, size_t y, const Rows& rows) {
        if (!f_.is_read(y)) return;
        const RowKind& kind = kinds_[y % 2];
        uint8_t* dst = f_.dst_rows[y] + strip.begin * kBytes;
        const size_t chroma = kind.starts_with_chroma ? 0 : 1;
        const uint8_t* green = (is_gb_ ? rows.above : rows.line - 1) + chroma;
        const auto make = [&](const KernelTable& kernels, ColorTarget target, size_t x,
                              size_t pixels, uint8_t* out) {
            kernels.bilinear[f_.row_start(y)][target](rows.above + x, rows.line + x, rows.below + x,
                                                      out, pixels);
            constexpr size_t kStep = kChannelBytes<kBytes>;
            copy_channel<kStep>(green + x, pixels, out + chroma * kStep + 1);
        };
        convert_border_row<kBytes>(f_.target(y), dst, strip.paired_columns(), false, make);
        fix_sides<kEdge>(strip, kind.starts_with_chroma, kind.own_byte, rows, dst);
    }

    // Rewrites the first and the last pixel of a row.
    template <Edge kEdge>
    inline void fix_sides(const Strip& strip, bool starts_with_chroma, ptrdiff_t own_byte,
                          const Rows& rows, uint8_t* dst) const {
        const auto fix = [&](ptrdiff_t x, ptrdiff_t inside, bool is_chroma) {
            const int green = border_green<kEdge>(rows, x, inside, is_chroma, is_gb_);
            const ptrdiff_t own = is_chroma ? x : inside, other = is_chroma ? inside : x;
            store_pixel<kBytes>(dst + x * ptrdiff_t{kBytes}, own_byte, rows.line[own], green,
                                avg2(rows.above[other], rows.below[other]));
        };
        const auto last = static_cast<ptrdiff_t>(strip.columns()) - 1;
        if (strip.is_first) fix(0, 1, starts_with_chroma);
        // The last column's site is the other one, odd widths or not.
        if (strip.is_last) fix(last, last - 1, !starts_with_chroma);
    }

    const BayerFrame& f_;
    alignas(64) uint8_t memory_[kLines * line_bytes(kColumns)];
    static_assert(sizeof memory_ <= kMostLineBytes);
    SampleLines lines_;
    const size_t last_y_;
    const bool is_gb_;
    RowKind kinds_[2];
};

}  // namespace

void demosaic_bilinear(const BayerFrame& frame) {
    for_destination(frame, [&]<size_t kBytes>() { BilinearFrame<kBytes>(frame).run(); });
}

}  // namespace imgcnv
