// What the three demosaic methods get to know of a frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "color/luma.h"
#include "converter/destination.h"

namespace imgcnv {

// The two letters name the first two samples of the first row.
enum class BayerOrder { RG, GB, BG };

// How the reader's samples become lines of 8-bit samples.
struct LineFormat {
    RowKernel decode;  // null: the rows are such lines already
    size_t bytes_per_pair;
};

struct BayerFrame {
    const KernelTable* kernels;
    BayerOrder order;
    LineFormat line_format;
    const uint8_t* const* src_rows;  // `height` rows; an odd frame's last one is repeated
    uint8_t* const* dst_rows;        // `height` rows of width x dst_bytes
    size_t width;                    // >= 2
    size_t height;                   // even, >= 2
    size_t dst_bytes;                // 1, 3 or 4
    bool dst_red_first;
    bool beyond_caches;  // too large for them
    bool mirrored;       // the row tables run from the bottom up

    // Red is in the even rows of RG and in the odd ones of GB and BG.
    bool row_has_red(size_t y) const { return (order == BayerOrder::RG) == (y % 2 == 0); }

    // Colour sites lie on the main diagonal of the 2x2 cell, in GB on the other.
    bool is_color_site(size_t y, size_t x) const {
        return ((y + x) % 2 == 0) == (order != BayerOrder::GB);
    }

    Phase phase(size_t y, size_t x) const {
        return is_color_site(y, x) ? kColorFirst : kGreenFirst;
    }

    // Whether the row's own colour comes first in a destination pixel (for one
    // byte a pixel: is red).
    bool own_color_leads(size_t y) const {
        return dst_bytes == 1 ? row_has_red(y) : row_has_red(y) == dst_red_first;
    }

    // Of a destination pixel, the byte of the row's own colour (for one byte a pixel: 0 if it
    // is red, else 2).
    ptrdiff_t own_byte(size_t y) const { return own_color_leads(y) ? 0 : 2; }

    // The sink of row y for channels (colour of the row, green, other colour).
    TripleSink sink(size_t y) const {
        return triple_sink(static_cast<int>(dst_bytes), own_color_leads(y));
    }

    uint8_t* dst(size_t y, size_t x) const { return dst_rows[y] + x * dst_bytes; }
};

void demosaic_nearest(const BayerFrame& frame);
void demosaic_bilinear(const BayerFrame& frame);
void demosaic_adaptive(const BayerFrame& frame);

// Integer means drop the fraction.
constexpr int avg2(int a, int b) { return (a + b) >> 1; }

// Writes a pixel, for those that no kernel does. own: the row's own colour
template <size_t kBytes>
inline void put_pixel(uint8_t* dst, ptrdiff_t own_byte, int own, int green, int other) {
    if constexpr (kBytes == 1) {
        dst[0] = own_byte == 0 ? luma(own, green, other) : luma(other, green, own);
    } else {
        dst[own_byte] = static_cast<uint8_t>(own);
        dst[1] = static_cast<uint8_t>(green);
        dst[2 - own_byte] = static_cast<uint8_t>(other);
        if constexpr (kBytes == 4) dst[3] = 0;
    }
}

}  // namespace imgcnv
