// Nearest demosaic, the plain definition of a row pair.
//
// The four pixels of a 2x2 cell share the cell's red and blue. Pixels at green
// sites keep their green, the two others get the mean of the cell's greens.
#pragma once

#include "bayer/bayer_frame.h"
#include "color/triple_plain.h"

namespace imgcnv {

template <Phase kPhase, TripleSink kSink>
void nearest_rows_plain(const uint8_t* even, const uint8_t* odd, uint8_t* dst_even,
                        uint8_t* dst_odd, size_t pixels) {
    // Column of the colour site within the cell, in the even row; the odd row's
    // is the other one.
    constexpr size_t kColor = kPhase == kColorFirst ? 0 : 1;
    constexpr size_t kGreen = 1 - kColor;
    for (size_t x = 0; x < pixels; x += 2) {
        const uint8_t a = even[x + kColor];
        const uint8_t c = odd[x + kGreen];
        const uint8_t green_even = even[x + kGreen];
        const uint8_t green_odd = odd[x + kColor];
        const auto mean = static_cast<uint8_t>(avg2(green_even, green_odd));
        put_triple<kSink>(dst_even, x + kColor, {a, mean, c});
        put_triple<kSink>(dst_even, x + kGreen, {a, green_even, c});
        put_triple<kSink>(dst_odd, x + kColor, {a, green_odd, c});
        put_triple<kSink>(dst_odd, x + kGreen, {a, mean, c});
    }
}

}  // namespace imgcnv
