// Bilinear demosaic, the plain definition of a row's interior. a is the row's own
// colour, c the other one.
//
//   at a chroma site    a  own sample
//                       b  mean of the four samples above, below, left, right
//                       c  mean of the four diagonal samples
//   at a green site     a  mean of left and right
//                       b  own sample
//                       c  mean of above and below
//
// The means are integers that drop the fraction.
#pragma once

#include "bayer/bayer_frame.h"
#include "color/channels_plain.h"

namespace imgcnv {

template <RowStart kStart, ColorTarget kTarget>
void bilinear_row_plain(const uint8_t* above, const uint8_t* line, const uint8_t* below,
                        uint8_t* dst, size_t pixels) {
    const auto byte = [](int v) { return static_cast<uint8_t>(v); };
    const auto at_chroma_site = [&](size_t i) {
        const uint8_t *u = above + i, *s = line + i, *d = below + i;
        store_channels<kTarget>(dst, i,
                                {s[0], byte((u[0] + d[0] + s[-1] + s[1]) >> 2),
                                 byte((u[-1] + u[1] + d[-1] + d[1]) >> 2)});
    };
    const auto at_green_site = [&](size_t i) {
        const uint8_t* s = line + i;
        store_channels<kTarget>(dst, i,
                                {byte(avg2(s[-1], s[1])), s[0], byte(avg2(above[i], below[i]))});
    };
    constexpr size_t kChroma = kStart == kChromaFirst ? 0 : 1;
    for (size_t i = kChroma; i < pixels; i += 2) at_chroma_site(i);
    for (size_t i = 1 - kChroma; i < pixels; i += 2) at_green_site(i);
}

}  // namespace imgcnv
