// Lines of a mosaic as 16-bit lanes: a lane is a pair of pixels, the first in its
// low byte. Sums of samples stay exact in 16 bits, and one shift divides and puts
// the byte in its place.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

// What grey is made of in a row of a mosaic: pixels in lanes, those at even and those at odd
// columns.
template <class V, RowStart kStart>
struct GreyLanes {
    // The row's own colour and green in the order of the mosaic's pair: one of them is in
    // its place already.
    typename V::Reg pair[2];
    typename V::Reg other[2];
};
template <class V, ColorTarget kTarget, RowStart kStart, class... Last>
inline void store_all(uint8_t* const* out, const GreyLanes<V, kStart>& lanes, Last&... last) {
    constexpr Channel kOwn = kTarget == kLumaRedFirst ? kRed : kBlue;
    constexpr Channel kLow = kStart == kChromaFirst ? kOwn : kGreen;
    constexpr Channel kHigh = kStart == kChromaFirst ? kGreen : kOwn;
    V::store(out[0], luma_of_lanes<V, InTurns<V>, kLow, kHigh>(lanes.pair, lanes.other, last...));
}

template <class V>
struct Lanes : InTurns<V> {
    using typename InTurns<V>::Reg;

    // The bytes of the first and of the second pixel of every pair as 16-bit values.
    static Reg low(Reg pairs) { return V::and_(pairs, V::set16(0x00FF)); }
    static Reg high(Reg pairs) { return V::template shr16<8>(pairs); }
    static Reg low(const uint8_t* p) { return low(V::load(p)); }
    static Reg high(const uint8_t* p) { return high(V::load(p)); }

    // `value` (0..255 in 16 bits) as one byte of every pair, that of `other` as the other one.
    template <bool kIntoLow>
    static Reg with_byte(Reg other, Reg value) {
        return kIntoLow ? InTurns<V>::blend(value, other) : InTurns<V>::low_bytes(other, value);
    }
    // Starts to load a row below `row`, where `before` is the one above: large frames keep the
    // memory busy while a row is computed. (Never a fault, whatever lies there.) 16-byte blocks do
    // it once per cache line.
    template <ptrdiff_t kRows = 1, bool kOnceALine = V::kBytes == 16>
    static void prefetch_after(const uint8_t* before, const uint8_t* row) {
        if (kOnceALine && reinterpret_cast<uintptr_t>(row) % 64 >= V::kBytes) return;
        prefetch<V>(row,
                    kRows * (reinterpret_cast<intptr_t>(row) - reinterpret_cast<intptr_t>(before)));
    }
    static Reg clamped(Reg value) { return V::min16(V::max16(value, V::zero()), V::set16(255)); }
};

// The same for a row that starts so.
template <class V, RowStart kStart>
struct RowLanes : Lanes<V> {
    using typename Lanes<V>::Reg;
    static constexpr bool kIsChromaFirst = kStart == kChromaFirst;

    // What lies at the chroma sites, and at the green ones, as 16-bit values.
    static Reg chroma(Reg x) { return kIsChromaFirst ? Lanes<V>::low(x) : Lanes<V>::high(x); }
    static Reg green(Reg x) { return kIsChromaFirst ? Lanes<V>::high(x) : Lanes<V>::low(x); }

    // Pairs of what lies at the chroma site and at the green one, 16-bit values that are clamped.
    static Reg pairs(Reg at_chroma, Reg at_green) {
        constexpr size_t kHigh = kIsChromaFirst ? 8 : 0;
        return V::shuffle(V::pack16(at_chroma, at_green),
                          [](size_t i) { return i / 2 + (i % 2 == 0 ? 8 - kHigh : kHigh); });
    }
};

}  // namespace imgcnv
