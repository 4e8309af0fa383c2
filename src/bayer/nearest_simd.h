// Nearest demosaic of a row pair, the vector body. See nearest_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

// The even and the odd row. Channels of both have the even row's colour first; lanes have their own
// row's.
template <class Even, class Odd = Even>
struct RowPair {
    Even even;
    Odd odd;
};
template <class V, ColorTarget kTarget, class Even, class Odd, class... Last>
inline void store_all(uint8_t* const* out, const RowPair<Even, Odd>& rows, Last&... last) {
    constexpr ColorTarget kOdd = target_bytes(kTarget) != 1 ? kTarget
                                 : kTarget == kLumaRedFirst ? kLumaRedLast
                                                            : kLumaRedFirst;
    store_all<V, kTarget>(out, rows.even, last...);
    store_all<V, kOdd>(out + 1, rows.odd, last...);
}

template <class V, RowStart kStart>
struct NearestBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = V::kBytes;
    static constexpr bool kIsChromaFirst = L::kIsChromaFirst;

    using GreyPair =
        RowPair<GreyLanes<V, kStart>, GreyLanes<V, L::kIsChromaFirst ? kGreenFirst : kChromaFirst>>;

    static RowPair<Channels<V>> load(const uint8_t* const* in) {
        const Cells cells(in);
        const Reg a = kIsChromaFirst ? V::dup_even(cells.even) : V::dup_odd(cells.even);
        const Reg c = kIsChromaFirst ? V::dup_odd(cells.odd) : V::dup_even(cells.odd);
        return {{a, L::template with_byte<kIsChromaFirst>(cells.even, cells.mean), c},
                {a, L::template with_byte<!kIsChromaFirst>(cells.odd, cells.mean), c}};
    }

    static GreyPair load_for_grey(const uint8_t* const* in) {
        const Cells cells(in);
        const Reg even = L::template with_byte<!kIsChromaFirst>(cells.even, cells.mean);
        const Reg odd = L::template with_byte<kIsChromaFirst>(cells.odd, cells.mean);
        const Reg a = L::chroma(cells.even), c = L::green(cells.odd);
        if constexpr (kIsChromaFirst) {
            return {{{even, cells.even}, {c, c}}, {{cells.odd, odd}, {a, a}}};
        } else {
            return {{{cells.even, even}, {c, c}}, {{odd, cells.odd}, {a, a}}};
        }
    }

  private:
    // Two rows, and the mean of every cell's greens.
    struct Cells {
        Reg even, odd, mean;

        explicit Cells(const uint8_t* const* in) {
            L::prefetch_after(in[0], in[1]);
            L::template prefetch_after<2>(in[0], in[1]);
            even = V::load(in[0]);
            odd = V::load(in[1]);
            mean = V::template shr16<1>(V::add16(L::green(even), L::chroma(odd)));
        }
    };
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
