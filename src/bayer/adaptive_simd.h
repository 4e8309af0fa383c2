// Adaptive demosaic of a row, the vector bodies. See adaptive_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, Phase kPhase>
struct AdaptiveGreenBody : BodyOf<V> {
    template <class W>
    using Rebind = AdaptiveGreenBody<W, kPhase>;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 5, kOutputs = 2, kHalo = 2, kGroup = 2;
    static constexpr size_t kFirstHaloInput = 4;  // row y+2 may end where the frame ends
    static constexpr size_t kSrcBytes = kPixels, kDstBytes = kPixels;

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        // The byte of the pair that is the colour site's.
        const auto own = [](Reg pairs) {
            return kColorIsFirst ? L::first(pairs) : L::second(pairs);
        };
        const uint8_t* s = in[4];
        L::template prefetch_after<1, false>(in[2], in[3]);
        const Reg line = V::load(s), color = own(line);
        const Reg left = kColorIsFirst ? L::first(s - 1) : L::first(line);
        const Reg right = kColorIsFirst ? L::second(line) : L::second(s + 1);
        const Reg up = own(V::load(in[1])), down = own(V::load(in[2]));
        const Reg twice = V::add16(color, color);
        const auto bend = [&](Reg before, Reg after) {
            return V::sub16(twice, V::add16(before, after));
        };
        const Reg bend_h = bend(own(V::load(s - 2)), own(V::load(s + 2)));
        const Reg bend_v = bend(own(V::load(in[0])), own(V::load(in[3])));
        const auto gradient = [](Reg curve, Reg p, Reg q) {
            return V::add16(V::abs16(curve), V::abs16(V::sub16(p, q)));
        };
        const auto horizontal =
            V::greater16(gradient(bend_v, up, down), gradient(bend_h, left, right));
        const Reg sum = V::select16(horizontal, V::add16(left, right), V::add16(up, down));
        const Reg curve = V::select16(horizontal, bend_h, bend_v);
        const Reg green =
            L::clamped(V::add16(V::template shr16<1>(sum), V::template sar16<2>(curve)));
        V::store(out[0], L::template with_byte<kColorIsFirst>(line, green));
        V::store(out[1], V::sub16(color, green));
    }
};

template <class V, Phase kPhase>
__attribute__((flatten)) void adaptive_green_row(const uint8_t* const lines[5], ptrdiff_t column,
                                                 uint8_t* green, int16_t* differences,
                                                 size_t pixels) {
    // in: rows y-2, y-1, y+1, y+2, y; out: green, differences
    run_row<AdaptiveGreenBody<V, kPhase>>({{lines[0] + column, lines[1] + column, lines[3] + column,
                                            lines[4] + column, lines[2] + column},
                                           {green, reinterpret_cast<uint8_t*>(differences)}},
                                          pixels);
}

template <class V, AdaptiveRow kRow, Phase kPhase>
struct AdaptiveColorBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 6, kOutputs = 1, kHalo = 2, kGroup = 2;
    static constexpr size_t kFirstHaloInput = 3;
    static constexpr size_t kSrcBytes = kPixels;

    static constexpr bool kInner = kRow == kNoneCopied;

    // in: line, beside, green; differences of rows y-1, y, y+1
    static Triple<V> load(const uint8_t* const* in) {
        const Reg line = V::load(in[0]), green = V::load(in[2]);
        Reg a, c;
        if constexpr (kRow == kOwnCopied || kRow == kBothCopied) {
            a = kColorIsFirst ? V::dup_even(line) : V::dup_odd(line);
        } else {
            a = L::template with_byte<!kColorIsFirst>(line, own_at_green(in, green));
        }
        if constexpr (kRow == kOtherCopied || kRow == kBothCopied) {
            const Reg beside = V::load(in[1]);
            c = kColorIsFirst ? V::dup_odd(beside) : V::dup_even(beside);
        } else {
            const Other other(in, green);
            c = kColorIsFirst ? L::template with_byte<false>(other.at_color, other.at_green)
                              : L::template with_byte<false>(other.at_green, other.at_color);
        }
        return {a, green, c};
    }

    static GreyLanes<V, kPhase> load_for_grey(const uint8_t* const* in) requires kInner {
        const Reg line = V::load(in[0]), green = V::load(in[2]);
        const Reg own = own_at_green(in, green);
        const Other other(in, green);
        if constexpr (kColorIsFirst) {
            return {{L::merged(line, V::template shl16<8>(green)), L::merged(own, green)},
                    {other.at_color, other.at_green}};
        } else {
            return {
                {L::template with_byte<false>(green, own), L::merged(green_at_color(green), line)},
                {other.at_green, other.at_color}};
        }
    }

  private:
    static constexpr bool kColorIsFirst = kPhase == kColorFirst;
    // A green site lies between the colour sites of its pair and of the next
    // pair; in the rows above and below it is the other way round.
    static constexpr ptrdiff_t kNext = kColorIsFirst ? 2 : -2;

    static Reg green_at_color(Reg green) {
        return kColorIsFirst ? L::first(green) : L::second(green);
    }
    static Reg green_at_green(Reg green) {
        return kColorIsFirst ? L::second(green) : L::first(green);
    }
    static Reg corrected(Reg green, Reg mean) { return L::clamped(V::add16(green, mean)); }

    static Reg own_at_green(const uint8_t* const* in, Reg green) {
        const Reg sum = V::add16(V::load(in[4]), V::load(in[4] + kNext));
        return corrected(green_at_green(green), V::template sar16<1>(sum));
    }
    struct Other {
        Reg at_green, at_color;

        Other(const uint8_t* const* in, Reg green) {
            const auto column = [&](ptrdiff_t shift) {
                return V::add16(V::load(in[3] + shift), V::load(in[5] + shift));
            };
            const Reg own = column(0);
            const Reg corners = V::add16(own, column(-kNext));
            at_green = corrected(green_at_green(green), V::template sar16<1>(own));
            at_color = corrected(green_at_color(green), V::template sar16<2>(corners));
        }
    };
};

template <class V, AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
struct AdaptiveColorBody : TripleBody<V, AdaptiveColorBlocks<V, kRow, kPhase>, kSink> {
    template <class W>
    using Rebind = AdaptiveColorBody<W, kRow, kPhase, kSink>;
};

template <class V, AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void adaptive_color_row(const AdaptiveLines& lines, uint8_t* dst,
                                                 size_t pixels) {
    const auto bytes = [](const int16_t* p) { return reinterpret_cast<const uint8_t*>(p); };
    run_row<AdaptiveColorBody<V, kRow, kPhase, kSink>>(
        {{lines.line, lines.beside, lines.green, bytes(lines.differences[0]),
          bytes(lines.differences[1]), bytes(lines.differences[2])},
         {dst}},
        pixels);
}

template <class V, Phase kPhase>
struct BlockGreenBody : BodyOf<V> {
    template <class W>
    using Rebind = BlockGreenBody<W, kPhase>;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels, kDstBytes = kPixels;

    // in: the row, the paired row; out: green, differences
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        const Reg line = V::load(in[0]), paired = V::load(in[1]);
        const Reg color = kColorIsFirst ? L::first(line) : L::second(line);
        const Reg own_green = kColorIsFirst ? L::second(line) : L::first(line);
        const Reg paired_green = kColorIsFirst ? L::first(paired) : L::second(paired);
        const Reg mean = V::template shr16<1>(V::add16(own_green, paired_green));
        V::store(out[0], L::template with_byte<kColorIsFirst>(line, mean));
        V::store(out[1], V::sub16(color, mean));
    }
};

template <class V, Phase kPhase>
__attribute__((flatten)) void block_green_row(const uint8_t* line, const uint8_t* paired,
                                              uint8_t* green, int16_t* differences, size_t pixels) {
    run_row<BlockGreenBody<V, kPhase>>(
        {{line, paired}, {green, reinterpret_cast<uint8_t*>(differences)}}, pixels);
}

}  // namespace imgcnv
