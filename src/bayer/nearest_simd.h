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
template <class V, TripleSink kSink, class... Last>
inline void store_all(uint8_t* const* out, const RowPair<V>& rows, Last&... last) {
    store_all<V, kSink>(out, rows.even, last...);
    store_all<V, kSink>(out + 1, rows.odd, last...);
}

template <class V, Phase kPhase>
struct NearestBlocks {
    using Vector = V;
    using Reg = typename V::Reg;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static RowPair<V> load(const uint8_t* const* in) {
        Lanes<V>::prefetch_after(in[0], in[1]);
        Lanes<V>::template prefetch_after<2>(in[0], in[1]);
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        const Reg low_bytes = V::set16(0x00FF);
        if constexpr (kPhase == kColorFirst) {
            // even row: a g, odd row: g c
            const Reg a = V::dup_even(even), c = V::dup_odd(odd);
            const Reg green_even = V::template shr16<8>(even), green_odd = V::and_(odd, low_bytes);
            const Reg mean = V::template shr16<1>(V::add16(green_even, green_odd));
            return {{a, V::bit_select(low_bytes, mean, even), c},
                    {a, V::bit_select(low_bytes, odd, V::template shl16<8>(mean)), c}};
        } else {
            // even row: g a, odd row: c g
            const Reg a = V::dup_odd(even), c = V::dup_even(odd);
            const Reg green_even = V::and_(even, low_bytes), green_odd = V::template shr16<8>(odd);
            const Reg mean = V::template shr16<1>(V::add16(green_even, green_odd));
            return {{a, V::bit_select(low_bytes, even, V::template shl16<8>(mean)), c},
                    {a, V::bit_select(low_bytes, mean, odd), c}};
        }
    }
};

template <class V, Phase kPhase, TripleSink kSink>
struct NearestBody : TripleBody<V, NearestBlocks<V, kPhase>, kSink> {
    template <class W>
    using Over = NearestBody<W, kPhase, kSink>;
};

template <class V, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void nearest_rows(const uint8_t* even, const uint8_t* odd,
                                           uint8_t* dst_even, uint8_t* dst_odd, size_t pixels) {
    run_row<NearestBody<V, kPhase, kSink>>({{even, odd}, {dst_even, dst_odd}}, pixels);
}

}  // namespace imgcnv
