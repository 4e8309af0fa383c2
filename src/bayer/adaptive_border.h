// The edges of an adaptive frame: which pixels replicate a colour, and from where.
//
// Two rows and columns along each edge lack neighbours: there, green is the mean of the two
// greens of the 2x2 cell, and the other colours are replicated from a sample of the cell or
// nearby. A mosaic has one colour in its even columns and one in the odd ones:
//
//   even columns' colour   in the two rows along one edge (the top one in GB, the
//                          bottom one in BG): the cell's; else in the last two
//                          columns: that of the last even column
//   odd columns' colour    in the outermost rows and columns: the cell's
//
// RG is GB with the frame upside down: the row tables of an RG frame come in reverse order, and
// the frame as a GB one.
//
// An odd width has a last column without a cell. For green its cell is the one that begins at
// column W-2; one corner pixel has no sample to replicate and is left as it was. The alpha bytes
// of the picture's last row and last column are left as they were, too.
#pragma once

#include "bayer/adaptive_plain.h"
#include "bayer/border_row.h"
#include "bayer/sample_lines.h"

namespace imgcnv {

// What decides which of a row's pixels replicate colours.
struct AdaptiveRowRule {
    bool own_is_even;      // its own colour is that of the even columns
    bool even_replicated;  // the colour of the even (odd) columns is replicated all along the row
    bool odd_replicated;

    static AdaptiveRowRule of(const BayerFrame& frame, size_t y) {
        const size_t last = frame.height - 1;
        return {.own_is_even = frame.starts_with_chroma(y),
                .even_replicated = frame.order == BayerOrder::BG ? y + 1 >= last : y <= 1,
                .odd_replicated = y == 0 || y == last};
    }

    // Replicates the colours that are, in pixels of kBytes with the row's own colour at own_byte.
    template <size_t kBytes>
    void replicate(const uint8_t* line, const uint8_t* paired, size_t pixels, uint8_t* dst,
                   ptrdiff_t own_byte) const {
        const size_t chroma = own_is_even ? 0 : 1;
        if (own_is_even ? even_replicated : odd_replicated) {
            copy_channel<kBytes>(line + chroma, pixels, dst + (1 - chroma) * kBytes + own_byte);
        }
        if (own_is_even ? odd_replicated : even_replicated) {
            copy_channel<kBytes>(paired + 1 - chroma, pixels, dst + 2 - own_byte);
            copy_channel<kBytes>(paired + 1 - chroma, pixels, dst + kBytes + 2 - own_byte);
        }
    }
};

// Column of a sample that colours are replicated from.
inline constexpr ptrdiff_t kInterpolated = PTRDIFF_MAX;

// The outermost pixels of a row, which are rewritten after the kernels. Columns count from the
// strip's first one.
template <size_t kBytes>
struct AdaptiveEdges {
    const AdaptiveRowRule rule;
    const AdaptiveLines& lines;
    const uint8_t* const paired;  // samples of the other row of the row's 2x2 cells
    uint8_t* const dst;           // the strip's first pixel
    const ptrdiff_t own_byte;
    const bool is_last_row;  // of the picture, which may be upside down

    // Pixel x, which takes the colour of the even columns from column `even` and that of the
    // odd ones from column `odd`.
    template <bool kIsEven>
    void store(ptrdiff_t x, ptrdiff_t even, ptrdiff_t odd, bool keeps_alpha) const {
        const bool own_is_even = rule.own_is_even, is_chroma = kIsEven == own_is_even;
        const ptrdiff_t own_from = own_is_even ? even : odd, other_from = own_is_even ? odd : even;
        const AdaptivePixel pixel{lines, x, own_is_even ? 0 : 1, is_chroma};
        const int own = is_chroma                   ? lines.line[x]
                        : own_from != kInterpolated ? lines.line[own_from]
                                                    : pixel.from_row();
        const int other = other_from != kInterpolated ? paired[other_from]
                          : is_chroma                 ? pixel.from_corners()
                                                      : pixel.from_column();
        uint8_t* pixel_bytes = dst + x * ptrdiff_t{kBytes};
        if (kBytes == 4 && keeps_alpha) {
            store_pixel<3>(pixel_bytes, own_byte, own, pixel.green(), other);
        } else {
            store_pixel<kBytes>(pixel_bytes, own_byte, own, pixel.green(), other);
        }
    }

    void fix_first_column() const {
        store<true>(0, rule.even_replicated ? 0 : kInterpolated, 1, is_last_row);
    }

    // last: the frame's last column
    template <bool kOddWidth>
    void fix_last_columns(ptrdiff_t last, bool is_only_pair, bool skips_corner) const {
        // The even and the odd one of the last two columns.
        const ptrdiff_t even = kOddWidth ? last : last - 1, odd = kOddWidth ? last - 1 : last;
        store<!kOddWidth>(last - 1, kOddWidth && rule.even_replicated ? last - 2 : even,
                          rule.odd_replicated || is_only_pair ? odd : kInterpolated, is_last_row);
        if (!skips_corner) store<kOddWidth>(last, even, odd, true);
    }
};

}  // namespace imgcnv
