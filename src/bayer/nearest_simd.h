// Nearest demosaic of a row pair, the vector body. See nearest_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

// The even and the odd row.
template <class V>
struct RowPair {
    Channels<V> even, odd;
};
template <class V, ColorTarget kTarget>
inline void store_all(uint8_t* const* out, const RowPair<V>& rows) {
    store_all<V, kTarget>(out, rows.even);
    store_all<V, kTarget>(out + 1, rows.odd);
}

// The odd row's own colour is the other one.
template <class V, RowStart kStart>
struct GreyRowPair {
    GreyLanes<V, kStart> even;
    GreyLanes<V, kStart == kChromaFirst ? kGreenFirst : kChromaFirst> odd;
};
template <class V, ColorTarget kTarget, RowStart kStart>
inline void store_all(uint8_t* const* out, const GreyRowPair<V, kStart>& rows, LastTies<V>& last) {
    constexpr ColorTarget kOdd = kTarget == kLumaRedFirst ? kLumaRedLast : kLumaRedFirst;
    store_all<V, kTarget>(out, rows.even, last);
    store_all<V, kOdd>(out + 1, rows.odd, last);
}

template <class V, RowStart kStart>
struct NearestBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static RowPair<V> load(const uint8_t* const* in) {
        prefetch(in);
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        if constexpr (kStart == kChromaFirst) {
            // even row: a g, odd row: g c
            const Reg mean = mean_of(L::high(even), L::low(odd));
            const Reg a = V::dup_even(even), c = V::dup_odd(odd);
            return {{a, L::template with_byte<true>(even, mean), c},
                    {a, L::template with_byte<false>(odd, mean), c}};
        } else {
            // even row: g a, odd row: c g
            const Reg mean = mean_of(L::low(even), L::high(odd));
            const Reg a = V::dup_odd(even), c = V::dup_even(odd);
            return {{a, L::template with_byte<false>(even, mean), c},
                    {a, L::template with_byte<true>(odd, mean), c}};
        }
    }

    static GreyRowPair<V, kStart> load_for_grey(const uint8_t* const* in) {
        prefetch(in);
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        if constexpr (kStart == kChromaFirst) {
            const Reg mean = mean_of(L::high(even), L::low(odd));
            const Reg a = L::low(even), c = L::high(odd);
            return {{{L::template with_byte<false>(even, mean), even}, {c, c}},
                    {{odd, L::template with_byte<true>(odd, mean)}, {a, a}}};
        } else {
            const Reg mean = mean_of(L::low(even), L::high(odd));
            const Reg a = L::high(even), c = L::low(odd);
            return {{{even, L::template with_byte<true>(even, mean)}, {c, c}},
                    {{L::template with_byte<false>(odd, mean), odd}, {a, a}}};
        }
    }

  private:
    static Reg mean_of(Reg a, Reg b) { return V::template shr16<1>(V::add16(a, b)); }
    static void prefetch(const uint8_t* const* in) {
        L::prefetch_after(in[0], in[1]);
        L::template prefetch_after<2>(in[0], in[1]);
    }
};

template <class V, RowStart kStart, ColorTarget kTarget>
struct NearestBody : ChannelsBody<V, NearestBlocks<V, kStart>, kTarget> {
    template <class W>
    using Rebind = NearestBody<W, kStart, kTarget>;
};

template <class V, RowStart kStart, ColorTarget kTarget>
__attribute__((flatten)) void nearest_rows(const uint8_t* even, const uint8_t* odd,
                                           uint8_t* dst_even, uint8_t* dst_odd, size_t pixels) {
    run_row<NearestBody<V, kStart, kTarget>>({{even, odd}, {dst_even, dst_odd}}, pixels);
}

}  // namespace imgcnv
