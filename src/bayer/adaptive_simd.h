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
    static constexpr size_t kInputs = 5, kHalo = 2, kGroup = 2;
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
        V::store(out[0], V::sub16(chroma, green));
    }
};

template <class V, RowStart kStart>
__attribute__((flatten)) void adaptive_green_row(const uint8_t* const lines[5], ptrdiff_t column,
                                                 int16_t* differences, size_t pixels) {
    // in: rows y-2, y-1, y+1, y+2, y; out: differences
    run_row<AdaptiveGreenBody<V, kStart>>({{lines[0] + column, lines[1] + column, lines[3] + column,
                                            lines[4] + column, lines[2] + column},
                                           {reinterpret_cast<uint8_t*>(differences)}},
                                          pixels);
}

template <class V, RowStart kStart>
struct BlockGreenBody : BodyOf<V> {
    template <class W>
    using Rebind = BlockGreenBody<W, kStart>;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 2, kGroup = 2;
    static constexpr size_t kSrcBytes = V::kBytes, kDstBytes = V::kBytes;

    // in: the row, the paired row; out: differences
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        const auto line = V::load(in[0]), paired = V::load(in[1]);
        const auto mean = V::template shr16<1>(V::add16(L::green(line), L::chroma(paired)));
        V::store(out[0], V::sub16(L::chroma(line), mean));
    }
};

template <class V, RowStart kStart>
__attribute__((flatten)) void block_green_row(const uint8_t* line, const uint8_t* paired,
                                              int16_t* differences, size_t pixels) {
    run_row<BlockGreenBody<V, kStart>>({{line, paired}, {reinterpret_cast<uint8_t*>(differences)}},
                                       pixels);
}

template <class V, RowStart kStart>
struct AdaptiveColorBlocks : BodyOf<V> {
    using Reg = typename V::Reg;
    using L = RowLanes<V, kStart>;
    static constexpr size_t kInputs = 4, kHalo = 2, kGroup = 2, kFirstHaloInput = 1;
    static constexpr size_t kSrcBytes = V::kBytes;

    // in: line; differences of rows y-1, y, y+1
    static Channels<V> load(const uint8_t* const* in) {
        const Sites s(in);
        return {L::pairs(L::chroma(s.line), s.own_at_green),
                L::template with_byte<kIsChromaFirst>(s.line, s.green_at_chroma),
                L::pairs(s.other_at_chroma, s.other_at_green)};
    }

    static GreyLanes<V, kStart> load_for_grey(const uint8_t* const* in) {
        const Sites s(in);
        const Reg at_chroma = L::template with_byte<!kIsChromaFirst>(s.line, s.green_at_chroma);
        const Reg at_green =
            L::template with_byte<kIsChromaFirst>(s.line, L::clamped(s.own_at_green));
        const Reg other_at_chroma = L::clamped(s.other_at_chroma);
        const Reg other_at_green = L::clamped(s.other_at_green);
        if constexpr (kIsChromaFirst) {
            return {{at_chroma, at_green}, {other_at_chroma, other_at_green}};
        } else {
            return {{at_green, at_chroma}, {other_at_green, other_at_chroma}};
        }
    }

  private:
    static constexpr bool kIsChromaFirst = L::kIsChromaFirst;

    // 16-bit values, the two other colours before they are clamped.
    struct Sites {
        Reg line;  // the row, as it is
        Reg green_at_chroma, own_at_green, other_at_green, other_at_chroma;

        explicit Sites(const uint8_t* const* in) {
            // A green site lies between the chroma sites of its pair and of the next
            // pair; in the rows above and below it is the other way round.
            constexpr ptrdiff_t kNext = kIsChromaFirst ? 2 : -2;
            const auto column = [&](ptrdiff_t shift) {
                return V::add16(V::load(in[1] + shift), V::load(in[3] + shift));
            };
            line = V::load(in[0]);
            const Reg difference = V::load(in[2]), vertical = column(0), green = L::green(line);
            const Reg horizontal = V::add16(difference, V::load(in[2] + kNext));
            const Reg corners = V::add16(vertical, column(-kNext));
            green_at_chroma = V::sub16(L::chroma(line), difference);
            own_at_green = V::add16(green, V::template sar16<1>(horizontal));
            other_at_green = V::add16(green, V::template sar16<1>(vertical));
            other_at_chroma = V::add16(green_at_chroma, V::template sar16<2>(corners));
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
        {{lines.line, bytes(lines.differences[0]), bytes(lines.differences[1]),
          bytes(lines.differences[2])},
         {dst}},
        pixels);
}

}  // namespace imgcnv
