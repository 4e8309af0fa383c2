// Packed colour sources, the vector bodies. See color_plain.h for the layouts.
//
// YUV: the chroma terms, functions of U or V alone, are computed in 16 bits, once
// a group where groups share chroma. With V' = (V - 128) << 7 the high half of
// the signed product V' x 718 is (359 V - 359 x 128) >> 8 exactly, and likewise
// with 176, 366 and 908 for the factors 88, 183 and 454.
//
// A term is in -227..225. It is split into what is to be added and what is to be
// subtracted, each at most 255, one of them 0: saturating byte arithmetic then
// adds and clamps at once.
#pragma once

#include "color/triple_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V>
struct YuvTerms {
    using Reg = typename V::Reg;

    // 16-bit lanes 0..255 to (v - 128) << 7
    static Reg centred(Reg chroma) {
        return V::sub16(V::template shl16<7>(chroma), V::set16(128 << 7));
    }
    static Reg negated(Reg term) { return V::sub16(V::zero(), term); }
    static Reg applied(Reg y, Reg plus, Reg minus) { return V::subs8u(V::adds8u(y, plus), minus); }

    // Lanes U, V, U, V ...: lanes blue term, red term, ...
    static Reg blue_red(Reg chroma) { return V::mulhi16(chroma, V::set32(int{718} << 16 | 908)); }
    // The same lanes: what green is lowered by, in both lanes of a pair.
    static Reg green(Reg chroma) {
        const Reg parts = V::mulhi16(chroma, V::set32(int{366} << 16 | 176));
        return V::add16(parts, V::swap16(parts));
    }
};

template <class V, ColorLayout kLayout>
struct ColorSource;

template <class V>
struct ColorSource<V, kTriples> {
    static constexpr size_t kBitsPerPixel = 24, kGroup = 1;
    static Triple<V> load(const uint8_t* p) {
        typename V::Reg a, b, c;
        V::load3(p, a, b, c);
        return {a, b, c};
    }
};

template <class V>
struct ColorSource<V, kYuv444> : YuvTerms<V> {
    static constexpr size_t kBitsPerPixel = 24, kGroup = 1;
    using Reg = typename V::Reg;
    using Terms = YuvTerms<V>;

    static Triple<V> load(const uint8_t* p) {
        Reg u, y, v;
        V::load3(p, u, y, v);
        const Reg u_lo = Terms::centred(V::widen_lo(u)), u_hi = Terms::centred(V::widen_hi(u));
        const Reg v_lo = Terms::centred(V::widen_lo(v)), v_hi = Terms::centred(V::widen_hi(v));
        const auto apply = [&](Reg lo, Reg hi) {
            return Terms::applied(y, V::pack16(lo, hi),
                                  V::pack16(Terms::negated(lo), Terms::negated(hi)));
        };
        const Reg fr = V::set16(718), fb = V::set16(908), gu = V::set16(176), gv = V::set16(366);
        const Reg red = apply(V::mulhi16(v_lo, fr), V::mulhi16(v_hi, fr));
        const Reg blue = apply(V::mulhi16(u_lo, fb), V::mulhi16(u_hi, fb));
        const auto lowered = [&](Reg u16, Reg v16) {
            return Terms::negated(V::add16(V::mulhi16(u16, gu), V::mulhi16(v16, gv)));
        };
        return {red, apply(lowered(u_lo, v_lo), lowered(u_hi, v_hi)), blue};
    }
};

template <class V, bool kLumaFirst>
struct ColorSource422 {
    static constexpr size_t kBitsPerPixel = 16, kGroup = 2;
    using Reg = typename V::Reg;
    using Terms = YuvTerms<V>;

    static Triple<V> load(const uint8_t* p) {
        Reg lo, hi;
        V::load_groups2(p, lo, hi);
        const Reg y = V::template groups2_luma < kLumaFirst ? 0 : 1 > (lo, hi);
        const auto chroma = [](Reg words) {
            return Terms::centred(kLumaFirst ? V::template shr16<8>(words)
                                             : V::and_(words, V::set16(0xFF)));
        };
        const Reg c_lo = chroma(lo), c_hi = chroma(hi);
        const Reg br_lo = Terms::blue_red(c_lo), br_hi = Terms::blue_red(c_hi);
        const Reg rb_minus_lo = Terms::negated(br_lo), rb_minus_hi = Terms::negated(br_hi);
        const Reg g_lo = Terms::green(c_lo), g_hi = Terms::green(c_hi);
        const Reg red = Terms::applied(y, V::groups2_second(br_lo, br_hi),
                                       V::groups2_second(rb_minus_lo, rb_minus_hi));
        const Reg blue = Terms::applied(y, V::groups2_first(br_lo, br_hi),
                                        V::groups2_first(rb_minus_lo, rb_minus_hi));
        const Reg green =
            Terms::applied(y, V::groups2_first(Terms::negated(g_lo), Terms::negated(g_hi)),
                           V::groups2_first(g_lo, g_hi));
        return {red, green, blue};
    }
};
template <class V>
struct ColorSource<V, kYuv422Uyvy> : ColorSource422<V, false> {};
template <class V>
struct ColorSource<V, kYuv422Yuyv> : ColorSource422<V, true> {};

template <class V>
struct ColorSource<V, kYuv411> {
    static constexpr size_t kBitsPerPixel = 12, kGroup = 4;
    using Reg = typename V::Reg;
    using Terms = YuvTerms<V>;

    static Triple<V> load(const uint8_t* p) {
        Reg y, chroma;
        V::load_groups4(p, y, chroma);
        chroma = Terms::centred(chroma);
        const auto plus = [](Reg term) { return V::max16(term, V::zero()); };
        const Reg br = Terms::blue_red(chroma), g = Terms::green(chroma);
        const Reg br_plus = plus(br), br_minus = plus(Terms::negated(br));
        const Reg g_plus = plus(Terms::negated(g)), g_minus = plus(g);
        return {Terms::applied(y, V::dup4_third(br_plus), V::dup4_third(br_minus)),
                Terms::applied(y, V::dup4_first(g_plus), V::dup4_first(g_minus)),
                Terms::applied(y, V::dup4_first(br_plus), V::dup4_first(br_minus))};
    }
};

template <class V, ColorLayout kLayout>
struct ColorBlocks {
    using Source = ColorSource<V, kLayout>;
    static constexpr bool kNarrowest = V::kNarrowest;
    static constexpr size_t kPixels = V::kBytes;
    static constexpr size_t kInputs = 1, kOutputs = 1, kHalo = 0;
    static constexpr size_t kGroup = Source::kGroup;
    static constexpr size_t kSrcBytes = kPixels * Source::kBitsPerPixel / 8;

    static Triple<V> load(const uint8_t* const* in) { return Source::load(in[0]); }
};

template <class V, ColorLayout kLayout, TripleSink kSink>
struct ColorBody : TripleBody<V, ColorBlocks<V, kLayout>, kSink> {
    using Narrower = ColorBody<typename V::Narrower, kLayout, kSink>;
};
// RGB8 to BGR24 and back needs no channels: 1.5 times as fast with 16- and
// 32-byte vectors.
template <class V>
struct ColorBody<V, kTriples, kCba> : TripleBody<V, ColorBlocks<V, kTriples>, kCba> {
    using Narrower = ColorBody<typename V::Narrower, kTriples, kCba>;
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        V::exchange3(in[0], out[0]);
    }
};

template <class V, ColorLayout kLayout, TripleSink kSink>
__attribute__((flatten)) void color_row(const uint8_t* src, uint8_t* dst, size_t pixels) {
    run_row<ColorBody<V, kLayout, kSink>>({{src}, {dst}}, pixels);
}

}  // namespace imgcnv
