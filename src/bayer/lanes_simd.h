// Lines of a mosaic as 16-bit lanes: a lane is a pair of pixels, the first in its
// low byte. Sums of samples stay exact in 16 bits, and one shift divides and puts
// the byte in its place.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

// What grey is made of in a row of a mosaic: pixels in lanes, those at even and those at odd
// columns.
template <class V, Phase kPhase>
struct GreyLanes {
    // The row's own colour and green in the order of the mosaic's pair: one of them is in
    // its place already.
    typename V::Reg pair[2];
    typename V::Reg other[2];
};
template <class V, TripleSink kSink, Phase kPhase, class... Last>
inline void store_all(uint8_t* const* out, const GreyLanes<V, kPhase>& lanes, Last&... last) {
    constexpr Channel kOwn = kSink == kLumaRedFirst ? kRed : kBlue;
    constexpr Channel kLow = kPhase == kColorFirst ? kOwn : kGreen;
    constexpr Channel kHigh = kPhase == kColorFirst ? kGreen : kOwn;
    V::store(out[0], luma_of_lanes<V, kLow, kHigh>(lanes.pair, lanes.other, last...));
}

template <class V>
struct Lanes {
    using Reg = typename V::Reg;

    // The low (first) and the high (second) bytes as 16-bit values.
    static Reg first(Reg pairs) { return V::and_(pairs, V::set16(0x00FF)); }
    static Reg second(Reg pairs) { return V::template shr16<8>(pairs); }
    static Reg first(const uint8_t* p) { return first(V::load(p)); }
    static Reg second(const uint8_t* p) { return second(V::load(p)); }

    // Low bytes of `first`, high bytes of `second`.
    static Reg merged(Reg first, Reg second) {
        return V::bit_select(V::set16(0x00FF), first, second);
    }
    // `value` (0..255 in 16 bits) as the byte of the colour or of the green site
    // of every pair, `other` for the other one.
    template <bool kIntoFirst>
    static Reg with_byte(Reg other, Reg value) {
        return kIntoFirst ? merged(value, other) : merged(other, V::template shl16<8>(value));
    }
    // Starts to load a row below `row`, where `before` is the one above: large
    // frames keep the memory busy while a row is computed. (Never a fault, whatever
    // lies there.) Measured at 5120x3840: nearest, bilinear .8 to .9 of the time,
    // adaptive .75; whole rows at once, or some columns ahead in the row, less.
    // 16-byte blocks do it once a cache line, measured at 640x480: .95 to .98 of the time
    // (32-byte ones gain nothing, adaptive green costs grey 1.07).
    template <ptrdiff_t kRows = 1, bool kOnceALine = V::kBytes == 16>
    static void prefetch_after(const uint8_t* before, const uint8_t* row) {
        if (kOnceALine && reinterpret_cast<uintptr_t>(row) % 64 >= V::kBytes) return;
        prefetch<V>(row,
                    kRows * (reinterpret_cast<intptr_t>(row) - reinterpret_cast<intptr_t>(before)));
    }
    static Reg clamped(Reg value) { return V::min16(V::max16(value, V::zero()), V::set16(255)); }
};

}  // namespace imgcnv
