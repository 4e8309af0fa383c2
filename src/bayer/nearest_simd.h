// Nearest demosaic of a row pair, the vector body. See nearest_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

// The even and the odd row.
template <class V>
struct RowPair {
    Triple<V> even, odd;
};
template <class V, TripleSink kSink>
inline void store_all(uint8_t* const* out, const RowPair<V>& rows) {
    store_all<V, kSink>(out, rows.even);
    store_all<V, kSink>(out + 1, rows.odd);
}

// The odd row's own colour is the other one.
template <class V, Phase kPhase>
struct GreyRowPair {
    GreyLanes<V, kPhase> even;
    GreyLanes<V, kPhase == kColorFirst ? kGreenFirst : kColorFirst> odd;
};
template <class V, TripleSink kSink, Phase kPhase>
inline void store_all(uint8_t* const* out, const GreyRowPair<V, kPhase>& rows, LastTies<V>& last) {
    constexpr TripleSink kOdd = kSink == kLumaRedFirst ? kLumaRedLast : kLumaRedFirst;
    store_all<V, kSink>(out, rows.even, last);
    store_all<V, kOdd>(out + 1, rows.odd, last);
}

template <class V, Phase kPhase>
struct NearestBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static RowPair<V> load(const uint8_t* const* in) {
        prefetch(in);
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        if constexpr (kPhase == kColorFirst) {
            // even row: a g, odd row: g c
            const Reg mean = mean_of(L::second(even), L::first(odd));
            const Reg a = V::dup_even(even), c = V::dup_odd(odd);
            return {{a, L::template with_byte<true>(even, mean), c},
                    {a, L::template with_byte<false>(odd, mean), c}};
        } else {
            // even row: g a, odd row: c g
            const Reg mean = mean_of(L::first(even), L::second(odd));
            const Reg a = V::dup_odd(even), c = V::dup_even(odd);
            return {{a, L::template with_byte<false>(even, mean), c},
                    {a, L::template with_byte<true>(odd, mean), c}};
        }
    }

    static GreyRowPair<V, kPhase> load_for_grey(const uint8_t* const* in) {
        prefetch(in);
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        if constexpr (kPhase == kColorFirst) {
            const Reg mean = mean_of(L::second(even), L::first(odd));
            const Reg a = L::first(even), c = L::second(odd);
            return {{{L::template with_byte<false>(even, mean), even}, {c, c}},
                    {{odd, L::template with_byte<true>(odd, mean)}, {a, a}}};
        } else {
            const Reg mean = mean_of(L::first(even), L::second(odd));
            const Reg a = L::second(even), c = L::first(odd);
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

template <class V, Phase kPhase, TripleSink kSink>
struct NearestBody : TripleBody<V, NearestBlocks<V, kPhase>, kSink> {
    template <class W>
    using Rebind = NearestBody<W, kPhase, kSink>;
};

template <class V, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void nearest_rows(const uint8_t* even, const uint8_t* odd,
                                           uint8_t* dst_even, uint8_t* dst_odd, size_t pixels) {
    run_row<NearestBody<V, kPhase, kSink>>({{even, odd}, {dst_even, dst_odd}}, pixels);
}

}  // namespace imgcnv
