// Adaptive demosaic, the plain definition of a row's interior.
//
// Green at a chroma site is the mean of two green neighbours, along the
// direction in which the picture changes less, corrected by the second
// derivative of the site's own colour. The two other colours then follow from
// the colour differences (sample minus green) of the sites around, which vary less than the
// colours themselves.
#pragma once

#include <cstdlib>

#include "bayer/bayer_frame.h"
#include "color/color_plain.h"

namespace imgcnv {

// Green of the chroma site at column x; lines[0..4] are rows y-2..y+2.
inline uint8_t adaptive_green_at(const uint8_t* const lines[5], ptrdiff_t x) {
    const uint8_t* s = lines[2] + x;
    const int left = s[-1], right = s[1];
    const int up = lines[1][x], down = lines[3][x];
    const int laplacian_h = 2 * s[0] - s[-2] - s[2];
    const int laplacian_v = 2 * s[0] - lines[0][x] - lines[4][x];
    const int gradient_h = std::abs(laplacian_h) + std::abs(left - right);
    const int gradient_v = std::abs(laplacian_v) + std::abs(up - down);
    const int horizontal = avg2(left, right) + (laplacian_h >> 2);
    const int vertical = avg2(up, down) + (laplacian_v >> 2);
    // Equal gradients take the vertical estimate. A mask, not a branch: in the outermost columns
    // the samples may be padding that callers left uninitialised, and memory checkers report that.
    const int is_horizontal = (gradient_h - gradient_v) >> 31;
    const int green = vertical + ((horizontal - vertical) & is_horizontal);
    return clamp_to_byte(green);
}

template <RowStart kStart>
void adaptive_green_row_plain(const uint8_t* const lines[5], ptrdiff_t column, int16_t* differences,
                              size_t pixels) {
    for (size_t i = kStart == kChromaFirst ? 0 : 1; i < pixels; i += 2) {
        const ptrdiff_t x = column + static_cast<ptrdiff_t>(i);
        differences[i / 2] = static_cast<int16_t>(lines[2][x] - adaptive_green_at(lines, x));
    }
}

// The colour difference of two pixels whose 2x2 block stands for itself.
inline int16_t block_difference(bool starts_with_chroma, const uint8_t* line,
                                const uint8_t* paired) {
    const size_t chroma = starts_with_chroma ? 0 : 1;
    return static_cast<int16_t>(line[chroma] - avg2(line[1 - chroma], paired[chroma]));
}

template <RowStart kStart>
void block_green_row_plain(const uint8_t* line, const uint8_t* paired, int16_t* differences,
                           size_t pixels) {
    for (size_t x = 0; x < pixels; x += 2)
        differences[x / 2] = block_difference(kStart == kChromaFirst, line + x, paired + x);
}

// The missing colours at column x of a row, from the colour differences of the chroma sites left
// and right, above and below or in the four corners.
struct AdaptivePixel {
    const AdaptiveLines& lines;
    const ptrdiff_t x;
    const ptrdiff_t chroma;  // where in a pair the row's chroma site is, 0 or 1
    const bool is_chroma;

    int green() const { return lines.line[x] - (is_chroma ? own(x) : 0); }
    uint8_t from_row() const { return corrected((own(x - 1) + own(x + 1)) >> 1); }
    uint8_t from_column() const { return corrected(other(x) >> 1); }
    uint8_t from_corners() const { return corrected((other(x - 1) + other(x + 1)) >> 2); }

  private:
    // The colour difference of the chroma site in a column of this row, and the sum of those above
    // and below it.
    int own(ptrdiff_t column) const { return lines.differences[1][(column - chroma) >> 1]; }
    int other(ptrdiff_t column) const {
        const ptrdiff_t pair = (column - (1 - chroma)) >> 1;
        return lines.differences[0][pair] + lines.differences[2][pair];
    }
    uint8_t corrected(int mean_difference) const {
        return clamp_to_byte(green() + mean_difference);
    }
};

template <RowStart kStart, ColorTarget kTarget>
void adaptive_color_row_plain(const AdaptiveLines& lines, uint8_t* dst, size_t pixels) {
    constexpr size_t kChroma = kStart == kChromaFirst ? 0 : 1;
    for (size_t i = 0; i < pixels; ++i) {
        const AdaptivePixel pixel{lines, static_cast<ptrdiff_t>(i), kChroma, i % 2 == kChroma};
        const uint8_t a = pixel.is_chroma ? lines.line[i] : pixel.from_row();
        const uint8_t c = pixel.is_chroma ? pixel.from_corners() : pixel.from_column();
        store_channels<kTarget>(dst, i, {a, static_cast<uint8_t>(pixel.green()), c});
    }
}

}  // namespace imgcnv
