// What becomes of three channels of pixel i: the plain definition of every
// TripleSink.
#pragma once

#include <cstddef>

#include "color/luma.h"
#include "simd/kernel_table.h"

namespace imgcnv {

struct Triple {
    uint8_t a, b, c;
};

template <TripleSink kSink>
inline void put_triple(uint8_t* dst, size_t i, Triple t) {
    if constexpr (kSink == kLumaRedFirst) {
        dst[i] = luma(t.a, t.b, t.c);
    } else if constexpr (kSink == kLumaRedLast) {
        dst[i] = luma(t.c, t.b, t.a);
    } else {
        constexpr bool kReversed = kSink == kCba || kSink == kCba0;
        constexpr bool kAlpha = kSink == kAbc0 || kSink == kCba0;
        uint8_t* pixel = dst + i * (kAlpha ? 4 : 3);
        pixel[0] = kReversed ? t.c : t.a;
        pixel[1] = t.b;
        pixel[2] = kReversed ? t.a : t.c;
        if constexpr (kAlpha) pixel[3] = 0;
    }
}

}  // namespace imgcnv
