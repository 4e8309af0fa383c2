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
void adaptive_green_row_plain(const uint8_t* const lines[5], ptrdiff_t column, uint8_t* green,
                              int16_t* differences, size_t pixels) {
    constexpr size_t kChroma = kStart == kChromaFirst ? 0 : 1;
    for (size_t i = 0; i < pixels; ++i) {
        const ptrdiff_t x = column + static_cast<ptrdiff_t>(i);
        if (i % 2 == kChroma) {
            green[i] = adaptive_green_at(lines, x);
            differences[i / 2] = static_cast<int16_t>(lines[2][x] - green[i]);
        } else {
            green[i] = lines[2][x];
        }
    }
}

// The missing colours at column x of a row, from the colour differences of the chroma
// sites left and right, above and below or in the four corners.
class AdaptivePixel {
  public:
    // chroma: where in a pair the row's chroma site is, 0 or 1
    AdaptivePixel(const AdaptiveLines& lines, ptrdiff_t x, ptrdiff_t chroma)
        : lines_(lines), x_(x), chroma_(chroma) {}

    uint8_t from_row() const {
        return corrected((difference(1, x_ - 1, chroma_) + difference(1, x_ + 1, chroma_)) >> 1);
    }
    uint8_t from_column() const {
        return corrected((difference(0, x_, 1 - chroma_) + difference(2, x_, 1 - chroma_)) >> 1);
    }
    uint8_t from_corners() const {
        return corrected((difference(0, x_ - 1, 1 - chroma_) + difference(0, x_ + 1, 1 - chroma_) +
                          difference(2, x_ - 1, 1 - chroma_) +
                          difference(2, x_ + 1, 1 - chroma_)) >>
                         2);
    }

  private:
    // The colour difference of the chroma site at column x of row y - 1 + row, which is
    // at `chroma` in its pair
    int difference(int row, ptrdiff_t x, ptrdiff_t chroma) const {
        return lines_.differences[row][(x - chroma) >> 1];
    }
    uint8_t corrected(int mean_difference) const {
        return clamp_to_byte(lines_.green[x_] + mean_difference);
    }

    const AdaptiveLines& lines_;
    const ptrdiff_t x_;
    const ptrdiff_t chroma_;
};

template <AdaptiveRow kRow, RowStart kStart, ColorTarget kTarget>
void adaptive_color_row_plain(const AdaptiveLines& lines, uint8_t* dst, size_t pixels) {
    constexpr bool kOwn = kRow == kOwnReplicated || kRow == kBothReplicated;
    constexpr bool kOther = kRow == kOtherReplicated || kRow == kBothReplicated;
    constexpr ptrdiff_t kChroma = kStart == kChromaFirst ? 0 : 1;
    for (size_t i = 0; i < pixels; ++i) {
        const ptrdiff_t x = static_cast<ptrdiff_t>(i);
        const ptrdiff_t cell = x & ~ptrdiff_t{1};
        const bool chroma_site = x % 2 == kChroma;
        const AdaptivePixel pixel(lines, x, kChroma);
        uint8_t a, c;
        if constexpr (kOwn) {
            a = lines.line[cell + kChroma];
        } else {
            a = chroma_site ? lines.line[x] : pixel.from_row();
        }
        if constexpr (kOther) {
            c = lines.paired[cell + 1 - kChroma];
        } else {
            c = chroma_site ? pixel.from_corners() : pixel.from_column();
        }
        store_channels<kTarget>(dst, i, {a, lines.green[x], c});
    }
}

template <RowStart kStart>
void block_green_row_plain(const uint8_t* line, const uint8_t* paired, uint8_t* green,
                           int16_t* differences, size_t pixels) {
    constexpr size_t kChroma = kStart == kChromaFirst ? 0 : 1;
    for (size_t x = 0; x < pixels; x += 2) {
        const size_t chroma = x + kChroma, own_green = x + 1 - kChroma;
        const int mean = avg2(line[own_green], paired[chroma]);
        green[own_green] = line[own_green];
        green[chroma] = static_cast<uint8_t>(mean);
        differences[x / 2] = static_cast<int16_t>(line[chroma] - mean);
    }
}

}  // namespace imgcnv
