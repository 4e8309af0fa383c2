// Bilinear demosaic of a row, the vector body. See bilinear_plain.h.
//
// In a pair of pixels (x, x + 1) one is the chroma site. Its neighbours are read
// by loads one sample to the left and one to the right of the pair.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, RowStart kStart>
struct BilinearBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kInputs = 3, kOutputs = 1, kHalo = 1, kGroup = 2;
    static constexpr size_t kSrcBytes = V::kBytes;

    static Channels<V> load(const uint8_t* const* in) {
        const Sums sums(in);
        const Reg a = place<1, !kIsChromaFirst>(sums.line, sums.horizontal);
        const Reg b = place<2, kIsChromaFirst>(sums.line, sums.around);
        const Reg c =
            kIsChromaFirst
                ? L::blend(V::template shr16<2>(sums.corners), into_high<1>(sums.vertical))
                : L::blend(V::template shr16<1>(sums.vertical), into_high<2>(sums.corners));
        return {a, b, c};
    }

    static GreyLanes<V, kStart> load_for_grey(const uint8_t* const* in) {
        const Sums sums(in);
        const Reg at_chroma = place<2, !kIsChromaFirst>(sums.line, sums.around);
        const Reg at_green = place<1, kIsChromaFirst>(sums.line, sums.horizontal);
        const Reg other_at_chroma = V::template shr16<2>(sums.corners);
        const Reg other_at_green = V::template shr16<1>(sums.vertical);
        if constexpr (kIsChromaFirst) {
            return {{at_chroma, at_green}, {other_at_chroma, other_at_green}};
        } else {
            return {{at_green, at_chroma}, {other_at_green, other_at_chroma}};
        }
    }

  private:
    static constexpr bool kIsChromaFirst = kStart == kChromaFirst;

    // What the means are made of, in 16-bit lanes.
    struct Sums {
        Reg line;        // the row, as it is
        Reg horizontal;  // at the green site: the row's own colour, left and right
        Reg around;      // at the chroma site: the four greens
        Reg vertical;    // at the green site: the other colour, above and below
        Reg corners;     // at the chroma site: the other colour

        explicit Sums(const uint8_t* const* in) {
            const uint8_t *u = in[0], *s = in[1], *d = in[2];
            L::prefetch_after(s, d);
            const Reg above = V::load(u), below = V::load(d);
            line = V::load(s);
            const Reg first = V::add16(L::low(above), L::low(below));
            const Reg second = V::add16(L::high(above), L::high(below));
            const Reg left = V::add16(L::low(s - 1), L::high(line));
            const Reg right = V::add16(L::low(line), L::high(s + 1));
            if constexpr (kIsChromaFirst) {
                horizontal = right;
                around = V::add16(left, first);
                vertical = second;
                corners = V::add16(second, V::add16(L::low(u - 1), L::low(d - 1)));
            } else {
                horizontal = left;
                around = V::add16(right, second);
                vertical = first;
                corners = V::add16(first, V::add16(L::high(u + 1), L::high(d + 1)));
            }
        }
    };

    // sum >> kShift in the high byte; what is below it does not matter.
    template <int kShift>
    static Reg into_high(Reg sum) {
        return V::template shl16<8 - kShift>(sum);
    }
    // line with sum >> kShift as the first or second byte of every pair
    template <int kShift, bool kIntoLow>
    static Reg place(Reg line, Reg sum) {
        return kIntoLow ? L::blend(V::template shr16<kShift>(sum), line)
                        : L::blend(line, into_high<kShift>(sum));
    }
};

template <class V, RowStart kStart, ColorTarget kTarget>
struct BilinearBody : ChannelsBody<V, BilinearBlocks<V, kStart>, kTarget> {
    template <class W>
    using Rebind = BilinearBody<W, kStart, kTarget>;
};

template <class V, RowStart kStart, ColorTarget kTarget>
__attribute__((flatten)) void bilinear_row(const uint8_t* above, const uint8_t* line,
                                           const uint8_t* below, uint8_t* dst, size_t pixels) {
    run_row<BilinearBody<V, kStart, kTarget>>({{above, line, below}, {dst}}, pixels);
}

}  // namespace imgcnv
