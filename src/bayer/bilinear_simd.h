// Bilinear demosaic of a row, the vector body. See bilinear_plain.h.
//
// In a pair of pixels (x, x + 1) one is the colour site. Its neighbours are read
// by loads one sample to the left and one to the right of the pair.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, Phase kPhase>
struct BilinearBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 3, kOutputs = 1, kHalo = 1, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static Triple<V> load(const uint8_t* const* in) {
        const Sums sums(in);
        const Reg a = place<1, !kColorIsFirst>(sums.line, sums.beside_green);
        const Reg b = place<2, kColorIsFirst>(sums.line, sums.around);
        const Reg c =
            kColorIsFirst
                ? L::merged(V::template shr16<2>(sums.corners), into_second<1>(sums.vertical))
                : L::merged(V::template shr16<1>(sums.vertical), into_second<2>(sums.corners));
        return {a, b, c};
    }

    static GreyLanes<V, kPhase> load_for_grey(const uint8_t* const* in) {
        const Sums sums(in);
        const Reg at_color = place<2, !kColorIsFirst>(sums.line, sums.around);
        const Reg at_green = place<1, kColorIsFirst>(sums.line, sums.beside_green);
        const Reg other_at_color = V::template shr16<2>(sums.corners);
        const Reg other_at_green = V::template shr16<1>(sums.vertical);
        if constexpr (kColorIsFirst) {
            return {{at_color, at_green}, {other_at_color, other_at_green}};
        } else {
            return {{at_green, at_color}, {other_at_green, other_at_color}};
        }
    }

  private:
    static constexpr bool kColorIsFirst = kPhase == kColorFirst;

    // What the means are made of, in 16-bit lanes.
    struct Sums {
        Reg line;          // the row, as it is
        Reg beside_green;  // at the green site: the row's own colour, left and right
        Reg around;        // at the colour site: the four greens
        Reg vertical;      // at the green site: the other colour, above and below
        Reg corners;       // at the colour site: the other colour

        explicit Sums(const uint8_t* const* in) {
            const uint8_t *u = in[0], *s = in[1], *d = in[2];
            L::prefetch_after(s, d);
            const Reg above = V::load(u), below = V::load(d);
            line = V::load(s);
            const Reg first = V::add16(L::first(above), L::first(below));
            const Reg second = V::add16(L::second(above), L::second(below));
            const Reg left = V::add16(L::first(s - 1), L::second(line));
            const Reg right = V::add16(L::first(line), L::second(s + 1));
            if constexpr (kColorIsFirst) {
                beside_green = right;
                around = V::add16(left, first);
                vertical = second;
                corners = V::add16(second, V::add16(L::first(u - 1), L::first(d - 1)));
            } else {
                beside_green = left;
                around = V::add16(right, second);
                vertical = first;
                corners = V::add16(first, V::add16(L::second(u + 1), L::second(d + 1)));
            }
        }
    };

    // sum >> kShift in the high byte; what is below it does not matter.
    template <int kShift>
    static Reg into_second(Reg sum) {
        return V::template shl16<8 - kShift>(sum);
    }
    // line with sum >> kShift as the first or second byte of every pair
    template <int kShift, bool kIntoFirst>
    static Reg place(Reg line, Reg sum) {
        return kIntoFirst ? L::merged(V::template shr16<kShift>(sum), line)
                          : L::merged(line, into_second<kShift>(sum));
    }
};

template <class V, Phase kPhase, TripleSink kSink>
struct BilinearBody : TripleBody<V, BilinearBlocks<V, kPhase>, kSink> {
    template <class W>
    using Rebind = BilinearBody<W, kPhase, kSink>;
};

template <class V, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void bilinear_row(const uint8_t* above, const uint8_t* line,
                                           const uint8_t* below, uint8_t* dst, size_t pixels) {
    run_row<BilinearBody<V, kPhase, kSink>>({{above, line, below}, {dst}}, pixels);
}

template <class V, EdgeGreen kEdgeGreen, Phase kPhase>
struct BilinearEdgeBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 1, kHalo = 1, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static Triple<V> load(const uint8_t* const* in) {
        const uint8_t *s = in[0], *n = in[1];
        const Reg line = V::load(s), next = V::load(n);
        const Reg green_at_color = kEdgeGreen == kGreenFromRow ? V::load(s - 1) : next;
        const auto mean = [](Reg sum) { return V::template shr16<1>(sum); };
        Reg a, b, c;
        if constexpr (kPhase == kColorFirst) {
            a = L::template with_byte<false>(line,
                                             mean(V::add16(L::first(line), L::second(s + 1))));
            b = L::merged(green_at_color, line);
            c = L::template with_byte<true>(next, mean(V::add16(L::first(n - 1), L::second(next))));
        } else {
            a = L::template with_byte<true>(line, mean(V::add16(L::first(s - 1), L::second(line))));
            b = L::merged(line, green_at_color);
            c = L::template with_byte<false>(next,
                                             mean(V::add16(L::first(next), L::second(n + 1))));
        }
        return {a, b, c};
    }
};

template <class V, EdgeGreen kEdgeGreen, Phase kPhase, TripleSink kSink>
struct BilinearEdgeBody : TripleBody<V, BilinearEdgeBlocks<V, kEdgeGreen, kPhase>, kSink> {
    template <class W>
    using Rebind = BilinearEdgeBody<W, kEdgeGreen, kPhase, kSink>;
};

template <class V, EdgeGreen kEdgeGreen, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void bilinear_edge_row(const uint8_t* line, const uint8_t* next,
                                                uint8_t* dst, size_t pixels) {
    run_row<BilinearEdgeBody<V, kEdgeGreen, kPhase, kSink>>({{line, next}, {dst}}, pixels);
}

}  // namespace imgcnv
