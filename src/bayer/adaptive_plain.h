// Adaptive demosaic, the plain definition of a row's interior.
//
// Green at a colour site is the mean of two green neighbours, along the
// direction in which the picture changes less, corrected by the second
// derivative of the site's own colour. The two other colours then follow from
// the differences colour - green of the sites around, which vary less than the
// colours themselves.
#pragma once

#include <cstdlib>

#include "bayer/bayer_frame.h"
#include "color/color_plain.h"

namespace imgcnv {

// Green of the colour site at column x; lines[0..4] are rows y-2..y+2.
inline uint8_t adaptive_green_at(const uint8_t* const lines[5], size_t x) {
    const uint8_t* s = lines[2] + x;
    const int left = s[-1], right = s[1];
    const int up = lines[1][x], down = lines[3][x];
    const int bend_h = 2 * s[0] - s[-2] - s[2];
    const int bend_v = 2 * s[0] - lines[0][x] - lines[4][x];
    const int gradient_h = std::abs(bend_h) + std::abs(left - right);
    const int gradient_v = std::abs(bend_v) + std::abs(up - down);
    // Equal gradients take the vertical estimate.
    const int green = gradient_h < gradient_v ? avg2(left, right) + (bend_h >> 2)
                                              : avg2(up, down) + (bend_v >> 2);
    return clamp_to_byte(green);
}

template <Phase kPhase>
void adaptive_green_row_plain(const uint8_t* const lines[5], uint8_t* green, size_t pixels) {
    constexpr size_t kColor = kPhase == kColorFirst ? 0 : 1;
    for (size_t i = 0; i < pixels; ++i) {
        green[i] = i % 2 == kColor ? adaptive_green_at(lines, i) : lines[2][i];
    }
}

// Rows y-1, y, y+1 of samples and of green.
struct AdaptiveLines {
    const uint8_t* samples[3];
    const uint8_t* green[3];

    // The same lines `columns` further on.
    AdaptiveLines from(size_t columns) const {
        return {{samples[0] + columns, samples[1] + columns, samples[2] + columns},
                {green[0] + columns, green[1] + columns, green[2] + columns}};
    }

    // colour - green in row y - 1 + row; only colour sites have one
    int difference(int row, ptrdiff_t x) const { return samples[row][x] - green[row][x]; }

    // The missing colour at x, from colour sites left and right, above and below
    // or in the four corners.
    uint8_t from_row(ptrdiff_t x) const {
        return corrected(x, (difference(1, x - 1) + difference(1, x + 1)) >> 1);
    }
    uint8_t from_column(ptrdiff_t x) const {
        return corrected(x, (difference(0, x) + difference(2, x)) >> 1);
    }
    uint8_t from_corners(ptrdiff_t x) const {
        return corrected(x, (difference(0, x - 1) + difference(0, x + 1) + difference(2, x - 1) +
                             difference(2, x + 1)) >>
                                2);
    }

  private:
    uint8_t corrected(ptrdiff_t x, int mean_difference) const {
        return clamp_to_byte(green[1][x] + mean_difference);
    }
};

template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
void adaptive_color_row_plain(const uint8_t* const samples[3], const uint8_t* const green[3],
                              uint8_t* dst, size_t pixels) {
    constexpr bool kOwn = kRow == kOwnCopied || kRow == kBothCopied;
    constexpr bool kOther = kRow == kOtherCopied || kRow == kBothCopied;
    constexpr ptrdiff_t kColor = kPhase == kColorFirst ? 0 : 1;
    const AdaptiveLines lines{{samples[0], samples[1], samples[2]}, {green[0], green[1], green[2]}};
    for (size_t i = 0; i < pixels; ++i) {
        const ptrdiff_t x = static_cast<ptrdiff_t>(i);
        const ptrdiff_t cell = x & ~ptrdiff_t{1};
        const bool color_site = x % 2 == kColor;
        uint8_t a, c;
        if constexpr (kOwn) {
            a = samples[1][cell + kColor];
        } else {
            a = color_site ? samples[1][x] : lines.from_row(x);
        }
        if constexpr (kOther) {
            c = samples[0][cell + 1 - kColor];
        } else {
            c = color_site ? lines.from_corners(x) : lines.from_column(x);
        }
        put_triple<kSink>(dst, i, {a, green[1][x], c});
    }
}

template <Phase kPhase>
void cell_green_rows_plain(const uint8_t* even, const uint8_t* odd, uint8_t* green_even,
                           uint8_t* green_odd, size_t pixels) {
    constexpr size_t kColor = kPhase == kColorFirst ? 0 : 1;
    for (size_t x = 0; x < pixels; x += 2) {
        const size_t color = x + kColor, green = x + 1 - kColor;
        green_even[green] = even[green];
        green_odd[color] = odd[color];
        green_even[color] = green_odd[green] = static_cast<uint8_t>(avg2(even[green], odd[color]));
    }
}

}  // namespace imgcnv
