// Nearest demosaic, the plain definition of a row pair.
//
// The four pixels of a 2x2 cell share the cell's red and blue. Pixels at green
// sites keep their green, the two others get the mean of the cell's greens.
#pragma once

#include "bayer/bayer_frame.h"
#include "color/channels_plain.h"

namespace imgcnv {

template <RowStart kStart, ColorTarget kTarget>
void nearest_rows_plain(const uint8_t* even, const uint8_t* odd, uint8_t* dst_even,
                        uint8_t* dst_odd, size_t pixels) {
    // Column of the chroma site within the cell, in the even row; the odd row's
    // is the other one.
    constexpr size_t kChroma = kStart == kChromaFirst ? 0 : 1;
    constexpr size_t kGreen = 1 - kChroma;
    for (size_t x = 0; x < pixels; x += 2) {
        const uint8_t a = even[x + kChroma];
        const uint8_t c = odd[x + kGreen];
        const uint8_t green_even = even[x + kGreen];
        const uint8_t green_odd = odd[x + kChroma];
        const auto mean = static_cast<uint8_t>(avg2(green_even, green_odd));
        store_channels<kTarget>(dst_even, x + kChroma, {a, mean, c});
        store_channels<kTarget>(dst_even, x + kGreen, {a, green_even, c});
        store_channels<kTarget>(dst_odd, x + kChroma, {a, green_odd, c});
        store_channels<kTarget>(dst_odd, x + kGreen, {a, mean, c});
    }
}

}  // namespace imgcnv
