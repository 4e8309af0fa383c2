// What becomes of three channels of pixel i: the plain definition of every
// ColorTarget.
#pragma once

#include <cstddef>

#include "color/luma.h"
#include "simd/kernel_table.h"

namespace imgcnv {

struct Channels {
    uint8_t a, b, c;
};

template <ColorTarget kTarget>
inline void store_channels(uint8_t* dst, size_t i, Channels t) {
    if constexpr (kTarget == kLumaRedFirst) {
        dst[i] = luma(t.a, t.b, t.c);
    } else if constexpr (kTarget == kLumaRedLast) {
        dst[i] = luma(t.c, t.b, t.a);
    } else {
        constexpr bool kReversed = kTarget == kCba || kTarget == kCba0;
        constexpr bool kAlpha = kTarget == kAbc0 || kTarget == kCba0;
        uint8_t* pixel = dst + i * (kAlpha ? 4 : 3);
        pixel[0] = kReversed ? t.c : t.a;
        pixel[1] = t.b;
        pixel[2] = kReversed ? t.a : t.c;
        if constexpr (kAlpha) pixel[3] = 0;
    }
}

}  // namespace imgcnv
