// Demosaicing, the plain definition of each pixel: libimgcnv's methods and its edges, so that
// samples of 8 bits give the colours that libimgcnv makes of them.
//
// The 2x2 cells of the orders, each beginning at an even row and column:
//
//   RG  R G    GB  G B    BG  B G
//       G B        R G        G R
//
// "Own" is the colour (red or blue) that a row has samples of, "other" the one it has not. A chroma
// site is a sample of red or blue.
#pragma once

#include "layouts/kernels.h"

#include <algorithm>
#include <cstdlib>

namespace frames {

struct OwnGreenOther {
    int own, green, other;
};

/// A mosaic of bytes or words. rows[i] points to a row: an array of pointers, or what computes
/// them.
template <class Rows>
class Mosaic {
  public:
    /// rows[0] is row `first` of the frame.
    Mosaic(const Demosaic16& job, Rows rows, std::int64_t first)
        : job_(job), rows_(rows), first_(first) {}

    std::int64_t last_x() const { return job_.width - 1; }
    std::int64_t last_y() const { return job_.height - 1; }
    bool is_gb() const { return job_.order == IMGCNV_ORDER_GB; }
    bool has_red(std::int64_t y) const { return (job_.order == IMGCNV_ORDER_RG) == (y % 2 == 0); }
    bool is_chroma_site(std::int64_t y, std::int64_t x) const {
        return ((y + x) % 2 == 0) != is_gb();
    }
    auto row(std::int64_t y) const { return rows_[y - first_]; }
    int at(std::int64_t y, std::int64_t x) const { return row(y)[x]; }
    int largest() const { return (1 << job_.depth) - 1; }

  private:
    const Demosaic16& job_;
    const Rows rows_;
    const std::int64_t first_;
};
using Mosaic16 = Mosaic<const std::uint16_t* const*>;

// --- nearest ----------------------------------------------------------------

/// The four pixels of a cell share its red and blue. Those at green sites keep their green, the
/// others get the mean of the cell's greens.
template <class Rows>
OwnGreenOther nearest_pixel(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const std::int64_t left = x & ~std::int64_t{1};
    const std::int64_t chroma = m.is_chroma_site(y, left) ? left : left + 1, green = chroma ^ 1;
    const std::int64_t across = y ^ 1;
    const int mean = (m.at(y, green) + m.at(across, chroma)) >> 1;
    return {m.at(y, chroma), x == chroma ? mean : m.at(y, green), m.at(across, green)};
}

// --- bilinear ---------------------------------------------------------------

template <class Rows>
OwnGreenOther bilinear_corner(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const std::int64_t inner_y = y == 0 ? 1 : y - 1, inner_x = x == 0 ? 1 : x - 1;
    const int own = m.at(y, x), horizontal = m.at(y, inner_x), vertical = m.at(inner_y, x);
    const int diagonal = m.at(inner_y, inner_x);
    if (m.is_chroma_site(y, x))
        return {own, m.is_gb() ? horizontal : (vertical + horizontal) >> 1, diagonal};
    return {horizontal, m.is_gb() && y == 0 ? (own + diagonal) >> 1 : own, vertical};
}

/// The top and the bottom row between the corners: one row stands in for two. A chroma site takes
/// its green from the left, in GB from the row inside.
template <class Rows>
OwnGreenOther bilinear_top(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const auto *line = m.row(y) + x, *next = m.row(y == 0 ? 1 : y - 1) + x;
    if (m.is_chroma_site(y, x))
        return {line[0], m.is_gb() ? next[0] : line[-1], (next[-1] + next[1]) >> 1};
    return {(line[-1] + line[1]) >> 1, line[0], next[0]};
}

/// The outermost columns between the corners. A chroma site on the left takes its green from above,
/// in GB from the right.
template <class Rows>
int bilinear_side_green(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    return x != 0 ? m.at(y, x - 1) : m.is_gb() ? m.at(y, 1) : m.at(y - 1, 0);
}
template <class Rows>
OwnGreenOther bilinear_side(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const std::int64_t inner = x == 0 ? 1 : x - 1;
    if (m.is_chroma_site(y, x))
        return {m.at(y, x), bilinear_side_green(m, y, x),
                (m.at(y - 1, inner) + m.at(y + 1, inner)) >> 1};
    return {m.at(y, inner), m.at(y, x), (m.at(y - 1, x) + m.at(y + 1, x)) >> 1};
}

/// Means of the neighbours, which drop the fraction.
template <class Rows>
OwnGreenOther bilinear_pixel(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const bool side = x == 0 || x == m.last_x(), top = y == 0 || y == m.last_y();
    if (side && top) return bilinear_corner(m, y, x);
    if (top) return bilinear_top(m, y, x);
    if (side) return bilinear_side(m, y, x);
    const auto *above = m.row(y - 1) + x, *line = m.row(y) + x, *below = m.row(y + 1) + x;
    if (m.is_chroma_site(y, x))
        return {line[0], (above[0] + below[0] + line[-1] + line[1]) >> 2,
                (above[-1] + above[1] + below[-1] + below[1]) >> 2};
    return {(line[-1] + line[1]) >> 1, line[0], (above[0] + below[0]) >> 1};
}

// --- adaptive ---------------------------------------------------------------

/// Green at a chroma site is the mean of two green neighbours along the direction in which the
/// picture changes less, corrected by the second derivative of the site's own colour.
template <class Rows>
inline int adaptive_green(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    const auto* line = m.row(y) + x;
    const int left = line[-1], right = line[1], up = m.at(y - 1, x), down = m.at(y + 1, x);
    const int laplacian_h = 2 * line[0] - line[-2] - line[2];
    const int laplacian_v = 2 * line[0] - m.at(y - 2, x) - m.at(y + 2, x);
    const int gradient_h = std::abs(laplacian_h) + std::abs(left - right);
    const int gradient_v = std::abs(laplacian_v) + std::abs(up - down);
    const int horizontal = ((left + right) >> 1) + (laplacian_h >> 2);
    const int vertical = ((up + down) >> 1) + (laplacian_v >> 2);
    // Equal gradients take the vertical estimate. No branch, which would depend on pixels.
    const int green = vertical + (gradient_h < gradient_v) * (horizontal - vertical);
    return std::clamp(green, 0, m.largest());
}

/// Near the edges it is the mean of the cell's greens.
template <class Rows>
inline int cell_green(const Mosaic<Rows>& m, std::int64_t y, std::int64_t x) {
    return (m.at(y, x ^ 1) + m.at(y ^ 1, x)) >> 1;
}

/// The other colours follow from the differences colour - green of the chroma sites around.
///
/// Two rows and columns along each edge lack neighbours: green is there the mean of the cell's
/// greens, and colours are copied from the cell. Which ones depends on the order; RG is GB with the
/// frame upside down.
template <class Rows>
class Adaptive {
  public:
    explicit Adaptive(const Mosaic<Rows>& mosaic, bool upside_down)
        : m_(mosaic), upside_down_(upside_down) {}

    OwnGreenOther pixel(std::int64_t frame_y, std::int64_t x) const {
        return pixel(frame_y, x, [&](std::int64_t y, std::int64_t at) { return green_of(y, at); });
    }
    /// green_of(y, x) is the green of any pixel beside this one.
    template <class Green>
    OwnGreenOther pixel(std::int64_t frame_y, std::int64_t x, Green green_of) const {
        const std::int64_t y = turned(frame_y);
        const bool chroma_site = is_chroma_site(y, x), own_is_even = is_chroma_site(y, 0);
        const int green = green_of(frame_y, x);
        const auto difference = [&](std::int64_t row, std::int64_t column) {
            return at(row, column) - green_of(turned(row), column);
        };
        const auto corrected = [&](int difference) {
            return std::clamp(green + difference, 0, m_.largest());
        };
        int own, other;
        if (chroma_site) {
            own = at(y, x);
        } else if (const std::int64_t copy = copied_from(own_is_even, y, x); copy >= 0) {
            own = at(y, copy);
        } else {
            own = corrected((difference(y, x - 1) + difference(y, x + 1)) >> 1);
        }
        if (const std::int64_t copy = copied_from(!own_is_even, y, x); copy >= 0) {
            other = at(y ^ 1, copy);
        } else if (chroma_site) {
            other = corrected((difference(y - 1, x - 1) + difference(y - 1, x + 1) +
                               difference(y + 1, x - 1) + difference(y + 1, x + 1)) >>
                              2);
        } else {
            other = corrected((difference(y - 1, x) + difference(y + 1, x)) >> 1);
        }
        return {own, green, other};
    }

    /// Green of row y of the frame, whichever way up.
    int green_of(std::int64_t frame_y, std::int64_t x) const {
        const std::int64_t y = turned(frame_y);
        if (!is_chroma_site(y, x)) return at(y, x);
        const bool inner = y >= 2 && y + 2 <= m_.last_y() && x >= 2 && x + 2 <= m_.last_x();
        return inner ? adaptive_green(m_, frame_y, x) : cell_green(m_, frame_y, x);
    }

  private:
    /// Rows of the frame as rows of what is demosaiced, and back.
    std::int64_t turned(std::int64_t y) const { return upside_down_ ? m_.last_y() - y : y; }
    int at(std::int64_t y, std::int64_t x) const { return m_.at(turned(y), x); }
    bool is_bg() const { return !upside_down_ && !m_.is_gb(); }
    bool is_chroma_site(std::int64_t y, std::int64_t x) const {
        return ((y + x) % 2 == 0) == is_bg();
    }

    /// The column, in its own row or in the cell's other one, that a pixel takes the colour of the
    /// even (odd) columns from; -1 where that colour is made from differences.
    std::int64_t copied_from(bool even_columns, std::int64_t y, std::int64_t x) const {
        const bool top_or_bottom = y == 0 || y == m_.last_y();
        if (!even_columns)
            return top_or_bottom || x == 0 || x == m_.last_x() ? x | 1 : std::int64_t{-1};
        const bool two_rows = is_bg() ? y + 1 >= m_.last_y() : y <= 1;
        return two_rows || x + 1 >= m_.last_x() ? x & ~std::int64_t{1} : std::int64_t{-1};
    }

    const Mosaic<Rows>& m_;
    const bool upside_down_;
};

template <class Rows>
OwnGreenOther demosaic16_pixel(const Mosaic<Rows>& m, const Demosaic16& job, std::int64_t y,
                               std::int64_t x) {
    if (job.method == IMGCNV_NEAREST) return nearest_pixel(m, y, x);
    if (job.method == IMGCNV_BILINEAR) return bilinear_pixel(m, y, x);
    return Adaptive(m, job.order == IMGCNV_ORDER_RG).pixel(y, x);
}

inline void store_pixel(OwnGreenOther pixel, bool own_first, std::uint16_t* out) {
    out[own_first ? 0 : 2] = static_cast<std::uint16_t>(pixel.own);
    out[1] = static_cast<std::uint16_t>(pixel.green);
    out[own_first ? 2 : 0] = static_cast<std::uint16_t>(pixel.other);
}

/// Pixels from..to of row y; `out` is where the first of them goes.
inline void demosaic16_pixels_plain(const Mosaic16& m, const Demosaic16& job, std::int64_t y,
                                    std::int64_t from, std::int64_t to, std::uint16_t* out) {
    const bool own_first = m.has_red(y) != job.blue_first;
    for (std::int64_t x = from; x < to; ++x, out += 3)
        store_pixel(demosaic16_pixel(m, job, y, x), own_first, out);
}

}  // namespace frames
