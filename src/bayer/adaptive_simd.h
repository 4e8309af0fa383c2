// Adaptive demosaic of a row, the vector bodies. See adaptive_plain.h.
#pragma once

#include "bayer/lanes_simd.h"
#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, Phase kPhase>
struct AdaptiveGreenBody {
    static constexpr bool kNarrowest = V::kNarrowest;
    using Narrower = AdaptiveGreenBody<typename V::Narrower, kPhase>;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 5, kOutputs = 1, kHalo = 2, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels, kDstBytes = kPixels;

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        // The byte of the pair that is the colour site's.
        const auto own = [](Reg pairs) {
            return kColorIsFirst ? L::first(pairs) : L::second(pairs);
        };
        const uint8_t* s = in[2];
        const Reg line = V::load(s);
        const Reg left = kColorIsFirst ? L::first(s - 1) : L::first(line);
        const Reg right = kColorIsFirst ? L::second(line) : L::second(s + 1);
        const Reg up = own(V::load(in[1])), down = own(V::load(in[3]));
        const Reg twice = V::add16(own(line), own(line));
        const auto bend = [&](Reg before, Reg after) {
            return V::sub16(twice, V::add16(before, after));
        };
        const Reg bend_h = bend(own(V::load(s - 2)), own(V::load(s + 2)));
        const Reg bend_v = bend(own(V::load(in[0])), own(V::load(in[4])));
        const auto gradient = [](Reg curve, Reg p, Reg q) {
            return V::add16(V::abs16(curve), V::abs16(V::sub16(p, q)));
        };
        const auto estimate = [](Reg p, Reg q, Reg curve) {
            return V::add16(V::template shr16<1>(V::add16(p, q)), V::template sar16<2>(curve));
        };
        const auto horizontal =
            V::greater16(gradient(bend_v, up, down), gradient(bend_h, left, right));
        const Reg green =
            V::select16(horizontal, estimate(left, right, bend_h), estimate(up, down, bend_v));
        V::store(out[0], L::template with_byte<kColorIsFirst>(line, L::clamped(green)));
    }
};

template <class V, Phase kPhase>
__attribute__((flatten)) void adaptive_green_row(const uint8_t* const lines[5], uint8_t* green,
                                                 size_t pixels) {
    run_row<AdaptiveGreenBody<V, kPhase>>(
        {{lines[0], lines[1], lines[2], lines[3], lines[4]}, {green}}, pixels);
}

template <class V, AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
struct AdaptiveColorBody {
    static constexpr bool kNarrowest = V::kNarrowest;
    using Narrower = AdaptiveColorBody<typename V::Narrower, kRow, kPhase, kSink>;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 6, kOutputs = 1, kHalo = 1, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels;
    static constexpr size_t kDstBytes = kPixels * sink_bytes(kSink);

    // in: rows y-1, y, y+1 of samples, then of green
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        const Reg line = V::load(in[1]), green = V::load(in[4]);
        const Reg green_first = L::first(green), green_second = L::second(green);
        const Reg at_color = kColorIsFirst ? green_first : green_second;
        const Reg at_green = kColorIsFirst ? green_second : green_first;
        // colour - green in the first (second) pixel of the pairs that begin
        // `shift` samples on, in rows y-1 .. y+1
        const auto first = [&](int row, int shift) {
            return V::sub16(L::first(in[row] + shift), L::first(in[row + 3] + shift));
        };
        const auto second = [&](int row, int shift) {
            return V::sub16(L::second(in[row] + shift), L::second(in[row + 3] + shift));
        };

        Reg a, c;
        if constexpr (kRow == kOwnCopied || kRow == kBothCopied) {
            a = kColorIsFirst ? V::dup_even(line) : V::dup_odd(line);
        } else {
            const Reg sum = kColorIsFirst ? V::add16(first(1, 0), second(1, 1))
                                          : V::add16(first(1, -1), second(1, 0));
            a = L::template with_byte<!kColorIsFirst>(
                line, L::clamped(V::add16(at_green, V::template sar16<1>(sum))));
        }
        if constexpr (kRow == kOtherCopied || kRow == kBothCopied) {
            const Reg beside = V::load(in[0]);
            c = kColorIsFirst ? V::dup_odd(beside) : V::dup_even(beside);
        } else {
            const Reg column = kColorIsFirst ? V::add16(second(0, 0), second(2, 0))
                                             : V::add16(first(0, 0), first(2, 0));
            const Reg next_column = kColorIsFirst ? V::add16(first(0, -1), first(2, -1))
                                                  : V::add16(second(0, 1), second(2, 1));
            const Reg corners = V::add16(column, next_column);
            const Reg c_at_green = L::clamped(V::add16(at_green, V::template sar16<1>(column)));
            const Reg c_at_color = L::clamped(V::add16(at_color, V::template sar16<2>(corners)));
            c = kColorIsFirst ? L::template with_byte<false>(c_at_color, c_at_green)
                              : L::template with_byte<false>(c_at_green, c_at_color);
        }
        store_triple<V, kSink>(out[0], a, green, c);
    }
};

template <class V, AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
__attribute__((flatten)) void adaptive_color_row(const uint8_t* const samples[3],
                                                 const uint8_t* const green[3], uint8_t* dst,
                                                 size_t pixels) {
    run_row<AdaptiveColorBody<V, kRow, kPhase, kSink>>(
        {{samples[0], samples[1], samples[2], green[0], green[1], green[2]}, {dst}}, pixels);
}

template <class V, Phase kPhase>
struct CellGreenBody {
    static constexpr bool kNarrowest = V::kNarrowest;
    using Narrower = CellGreenBody<typename V::Narrower, kPhase>;
    using Reg = typename V::Reg;
    using L = Lanes<V>;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 2, kOutputs = 2, kHalo = 0, kGroup = 2;
    static constexpr size_t kSrcBytes = kPixels, kDstBytes = kPixels;

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        constexpr bool kColorIsFirst = kPhase == kColorFirst;
        const Reg even = V::load(in[0]), odd = V::load(in[1]);
        const Reg sum = kColorIsFirst ? V::add16(L::second(even), L::first(odd))
                                      : V::add16(L::first(even), L::second(odd));
        const Reg mean = V::template shr16<1>(sum);
        V::store(out[0], L::template with_byte<kColorIsFirst>(even, mean));
        V::store(out[1], L::template with_byte<!kColorIsFirst>(odd, mean));
    }
};

template <class V, Phase kPhase>
__attribute__((flatten)) void cell_green_rows(const uint8_t* even, const uint8_t* odd,
                                              uint8_t* green_even, uint8_t* green_odd,
                                              size_t pixels) {
    run_row<CellGreenBody<V, kPhase>>({{even, odd}, {green_even, green_odd}}, pixels);
}

}  // namespace imgcnv
