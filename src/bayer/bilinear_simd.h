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
struct BilinearBlocks {
    using Vector = V;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 3, kOutputs = 1, kHalo = 1, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;

    static Triple<V> load(const uint8_t* const* in) {
        const uint8_t *u = in[0], *s = in[1], *d = in[2];
        L::prefetch_after(s, d);
        const Reg above = V::load(u), line = V::load(s), below = V::load(d);
        const Reg first = V::add16(L::first(above), L::first(below));
        const Reg second = V::add16(L::second(above), L::second(below));
        // Of the other colour and of green: sums over above and below at the
        // colour site's column and at its two neighbours.
        Reg beside_color, beside_green, vertical_green, vertical_other, corners;
        if constexpr (kPhase == kColorFirst) {
            beside_color = V::add16(L::first(s - 1), L::second(line));  // green
            beside_green = V::add16(L::first(line), L::second(s + 1));  // row's colour
            vertical_green = first;
            vertical_other = second;
            corners = V::add16(second, V::add16(L::first(u - 1), L::first(d - 1)));
        } else {
            beside_color = V::add16(L::first(line), L::second(s + 1));
            beside_green = V::add16(L::first(s - 1), L::second(line));
            vertical_green = second;
            vertical_other = first;
            corners = V::add16(first, V::add16(L::second(u + 1), L::second(d + 1)));
        }
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        const Reg a = place<1, !kColorIsFirst>(line, beside_green);
        const Reg b = place<2, kColorIsFirst>(line, V::add16(beside_color, vertical_green));
        const Reg c =
            kColorIsFirst
                ? L::merged(V::template shr16<2>(corners), into_second<1>(vertical_other))
                : L::merged(V::template shr16<1>(vertical_other), into_second<2>(corners));
        return {a, b, c};
    }

  private:
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
    using Over = BilinearBody<W, kPhase, kSink>;
};

template <class V, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void bilinear_row(const uint8_t* above, const uint8_t* line,
                                           const uint8_t* below, uint8_t* dst, size_t pixels) {
    run_row<BilinearBody<V, kPhase, kSink>>({{above, line, below}, {dst}}, pixels);
}

template <class V, EdgeGreen kEdgeGreen, Phase kPhase>
struct BilinearEdgeBlocks {
    using Vector = V;
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
    using Over = BilinearEdgeBody<W, kEdgeGreen, kPhase, kSink>;
};

template <class V, EdgeGreen kEdgeGreen, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void bilinear_edge_row(const uint8_t* line, const uint8_t* next,
                                                uint8_t* dst, size_t pixels) {
    run_row<BilinearEdgeBody<V, kEdgeGreen, kPhase, kSink>>({{line, next}, {dst}}, pixels);
}

}  // namespace imgcnv
