// Adaptive demosaic of a row, the vector bodies. See adaptive_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, RowStart kStart>
struct AdaptiveGreenBody : BodyOf<V> {
    template <class W>
    using Rebind = AdaptiveGreenBody<W, kStart>;
    using Reg = typename V::Reg;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 5, kOutputs = 2, kHalo = 2, kGroup = 2;
    static constexpr size_t kFirstHaloInput = 4;  // row y+2 may end where the frame ends
    static constexpr size_t kSrcBytes = V::kBytes, kDstBytes = V::kBytes;

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kIsChromaFirst = L::kIsChromaFirst;
        const uint8_t* s = in[4];
        L::template prefetch_after<1, false>(in[2], in[3]);
        const Reg line = V::load(s), chroma = L::chroma(line);
        const Reg left = kIsChromaFirst ? L::low(s - 1) : L::low(line);
        const Reg right = kIsChromaFirst ? L::high(line) : L::high(s + 1);
        const Reg up = L::chroma(V::load(in[1])), down = L::chroma(V::load(in[2]));
        const Reg doubled = V::add16(chroma, chroma);
        const auto laplacian_of = [&](Reg before, Reg after) {
            return V::sub16(doubled, V::add16(before, after));
        };
        const Reg laplacian_h = laplacian_of(L::chroma(V::load(s - 2)), L::chroma(V::load(s + 2)));
        const Reg laplacian_v = laplacian_of(L::chroma(V::load(in[0])), L::chroma(V::load(in[3])));
        const auto gradient = [](Reg laplacian, Reg p, Reg q) {
            return V::add16(V::abs16(laplacian), V::abs16(V::sub16(p, q)));
        };
        const auto horizontal =
            V::greater16(gradient(laplacian_v, up, down), gradient(laplacian_h, left, right));
        const Reg sum = V::select16(horizontal, V::add16(left, right), V::add16(up, down));
        const Reg laplacian = V::select16(horizontal, laplacian_h, laplacian_v);
        const Reg green =
            L::clamped(V::add16(V::template shr16<1>(sum), V::template sar16<2>(laplacian)));
        V::store(out[0], L::template with_byte<kIsChromaFirst>(line, green));
        V::store(out[1], V::sub16(chroma, green));
    }
};

template <class V, RowStart kStart>
__attribute__((flatten)) void adaptive_green_row(const uint8_t* const lines[5], ptrdiff_t column,
                                                 uint8_t* green, int16_t* differences,
                                                 size_t pixels) {
    // in: rows y-2, y-1, y+1, y+2, y; out: green, differences
    run_row<AdaptiveGreenBody<V, kStart>>({{lines[0] + column, lines[1] + column, lines[3] + column,
                                            lines[4] + column, lines[2] + column},
                                           {green, reinterpret_cast<uint8_t*>(differences)}},
                                          pixels);
}

template <class V, RowStart kStart>
struct BlockGreenBody : BodyOf<V> {
    template <class W>
    using Rebind = BlockGreenBody<W, kStart>;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 2, kOutputs = 2, kGroup = 2;
    static constexpr size_t kSrcBytes = V::kBytes, kDstBytes = V::kBytes;

    // in: the row, the paired row; out: green, differences
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        const auto line = V::load(in[0]), paired = V::load(in[1]);
        const auto mean = V::template shr16<1>(V::add16(L::green(line), L::chroma(paired)));
        V::store(out[0], L::template with_byte<L::kIsChromaFirst>(line, mean));
        V::store(out[1], V::sub16(L::chroma(line), mean));
    }
};

template <class V, RowStart kStart>
__attribute__((flatten)) void block_green_row(const uint8_t* line, const uint8_t* paired,
                                              uint8_t* green, int16_t* differences, size_t pixels) {
    run_row<BlockGreenBody<V, kStart>>(
        {{line, paired}, {green, reinterpret_cast<uint8_t*>(differences)}}, pixels);
}

template <class V, RowStart kStart>
struct AdaptiveColorBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 5, kOutputs = 1, kHalo = 2, kGroup = 2;
    static constexpr size_t kFirstHaloInput = 2;
    static constexpr size_t kSrcBytes = V::kBytes;

    // in: line, green; differences of rows y-1, y, y+1
    static Channels<V> load(const uint8_t* const* in) {
        const Reg line = V::load(in[0]), green = V::load(in[1]);
        const Reg a = L::template with_byte<!kIsChromaFirst>(line, own_at_green(in, green));
        const Other other(in, green);
        const Reg c = kIsChromaFirst
                          ? L::template with_byte<false>(other.at_chroma, other.at_green)
                          : L::template with_byte<false>(other.at_green, other.at_chroma);
        return {a, green, c};
    }

    static GreyLanes<V, kStart> load_for_grey(const uint8_t* const* in) {
        const Reg line = V::load(in[0]), green = V::load(in[1]);
        const Reg own = own_at_green(in, green);
        const Other other(in, green);
        if constexpr (kIsChromaFirst) {
            return {{L::blend(line, V::template shl16<8>(green)), L::blend(own, green)},
                    {other.at_chroma, other.at_green}};
        } else {
            return {{L::template with_byte<false>(green, own), L::blend(L::chroma(green), line)},
                    {other.at_green, other.at_chroma}};
        }
    }

  private:
    static constexpr bool kIsChromaFirst = L::kIsChromaFirst;
    // A green site lies between the chroma sites of its pair and of the next
    // pair; in the rows above and below it is the other way round.
    static constexpr ptrdiff_t kNext = kIsChromaFirst ? 2 : -2;

    static Reg corrected(Reg green, Reg mean) { return L::clamped(V::add16(green, mean)); }

    static Reg own_at_green(const uint8_t* const* in, Reg green) {
        const Reg sum = V::add16(V::load(in[3]), V::load(in[3] + kNext));
        return corrected(L::green(green), V::template sar16<1>(sum));
    }
    struct Other {
        Reg at_green, at_chroma;

        Other(const uint8_t* const* in, Reg green) {
            const auto column = [&](ptrdiff_t shift) {
                return V::add16(V::load(in[2] + shift), V::load(in[4] + shift));
            };
            const Reg own = column(0);
            const Reg corners = V::add16(own, column(-kNext));
            at_green = corrected(L::green(green), V::template sar16<1>(own));
            at_chroma = corrected(L::chroma(green), V::template sar16<2>(corners));
        }
    };
};

template <class V, RowStart kStart, ColorTarget kTarget>
struct AdaptiveColorBody : ChannelsBody<V, AdaptiveColorBlocks<V, kStart>, kTarget> {
    template <class W>
    using Rebind = AdaptiveColorBody<W, kStart, kTarget>;
};

template <class V, RowStart kStart, ColorTarget kTarget>
__attribute__((flatten)) void adaptive_color_row(const AdaptiveLines& lines, uint8_t* dst,
                                                 size_t pixels) {
    const auto bytes = [](const int16_t* p) { return reinterpret_cast<const uint8_t*>(p); };
    run_row<AdaptiveColorBody<V, kStart, kTarget>>(
        {{lines.line, lines.green, bytes(lines.differences[0]), bytes(lines.differences[1]),
          bytes(lines.differences[2])},
         {dst}},
        pixels);
}

}  // namespace imgcnv
