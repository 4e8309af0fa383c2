// Packed colour sources, the vector bodies. See color_plain.h for the layouts.
//
// YUV, in 16-bit lanes: with V' = (V - 128) << 8 the high half of the signed
// product V' x 359 is (359 V - 359 x 128) >> 8 exactly. A byte is placed in the
// high half of a lane as easily as in the low one. Packing the sums clamps them.
#pragma once

#include "color/channels_simd.h"
#include "simd/row.h"

namespace imgcnv {

template <class V>
struct Yuv {
    using Reg = typename V::Reg;

    // Channels of half a block, unclamped.
    struct Half {
        Reg red, green, blue;
    };
    // y: 0..255; u, v: the sample in the high byte, 0 in the low one
    static Half half(Reg y, Reg u, Reg v) {
        const Reg u0 = V::sub16(u, V::set16(128 << 8)), v0 = V::sub16(v, V::set16(128 << 8));
        return {
            V::add16(y, V::template mulhi16_by<359>(v0)),
            V::sub16(y, V::add16(V::template mulhi16_by<88>(u0), V::template mulhi16_by<183>(v0))),
            V::add16(y, V::template mulhi16_by<454>(u0))};
    }
    static Channels<V> clamped(const Half& lo, const Half& hi) {
        return {V::pack16(lo.red, hi.red), V::pack16(lo.green, hi.green),
                V::pack16(lo.blue, hi.blue)};
    }
};

template <class V, ColorLayout kLayout>
struct ColorSource;

template <class V>
struct ColorSource<V, kRgb8> {
    static constexpr size_t kBitsPerPixel = 24, kGroup = 1;
    static Channels<V> load(const uint8_t* p) {
        typename V::Reg a, b, c;
        V::load3(p, a, b, c);
        return {a, b, c};
    }
};

template <class V>
struct ColorSource<V, kYuv444> {
    static constexpr size_t kBitsPerPixel = 24, kGroup = 1;
    static Channels<V> load(const uint8_t* p) {
        typename V::Reg u, y, v;
        V::load3(p, u, y, v);
        const auto zero = V::zero();
        return Yuv<V>::clamped(
            Yuv<V>::half(V::widen_lo(y), V::unpack_lo8(zero, u), V::unpack_lo8(zero, v)),
            Yuv<V>::half(V::widen_hi(y), V::unpack_hi8(zero, u), V::unpack_hi8(zero, v)));
    }
};

template <class V, bool kLumaFirst>
struct ColorSource422 {
    static constexpr size_t kBitsPerPixel = 16, kGroup = 2;
    using Reg = typename V::Reg;

    static Channels<V> load(const uint8_t* p) {
        Reg lo, hi;
        V::load_yuv422(p, lo, hi);
        return Yuv<V>::clamped(half(lo), half(hi));
    }

  private:
    static typename Yuv<V>::Half half(Reg words) {
        constexpr size_t kU = kLumaFirst ? 1 : 0;
        const Reg y = kLumaFirst ? V::and_(words, V::set16(0xFF)) : V::template shr16<8>(words);
        const Reg u = V::shuffle(
            words, [](size_t i) { return i % 2 == 0 ? size_t{kZeroByte} : i / 4 * 4 + kU; });
        const Reg v = V::shuffle(
            words, [](size_t i) { return i % 2 == 0 ? size_t{kZeroByte} : i / 4 * 4 + kU + 2; });
        return Yuv<V>::half(y, u, v);
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

    static Channels<V> load(const uint8_t* p) {
        Reg lo, hi;
        V::load_yuv411(p, lo, hi);
        return Yuv<V>::clamped(half<0>(lo), half<4>(hi));
    }

  private:
    // Of two groups that begin at byte kFirst of every 16.
    template <size_t kFirst>
    static typename Yuv<V>::Half half(Reg groups) {
        const Reg y = V::shuffle(groups, [](size_t i) {
            const size_t pixel = i / 2 % 4;
            return i % 2 != 0 ? size_t{kZeroByte}
                              : kFirst + i / 8 * 6 + 1 + pixel + (pixel > 1 ? 1 : 0);
        });
        const Reg u = V::shuffle(
            groups, [](size_t i) { return i % 2 == 0 ? size_t{kZeroByte} : kFirst + i / 8 * 6; });
        const Reg v = V::shuffle(groups, [](size_t i) {
            return i % 2 == 0 ? size_t{kZeroByte} : kFirst + i / 8 * 6 + 3;
        });
        return Yuv<V>::half(y, u, v);
    }
};

template <class V, ColorLayout kLayout>
struct ColorBlocks : BodyOf<V> {
    using Source = ColorSource<V, kLayout>;
    using BodyOf<V>::kPixels;
    static constexpr size_t kGroup = Source::kGroup;
    static constexpr bool kComputeBound = kLayout != kRgb8;
    static constexpr size_t kSrcBytes = kPixels * Source::kBitsPerPixel / 8;

    static Channels<V> load(const uint8_t* const* in) { return Source::load(in[0]); }
    // 64-byte vectors, whose lanes take longer to load one by one, are quicker with channels.
    static Pairs3<V> load_for_grey(const uint8_t* const* in) requires(kLayout == kRgb8 &&
                                                                      V::kBytes < 64) {
        Pairs3<V> pixels;
        V::load_pairs3(in[0], pixels.pair, pixels.single);
        return pixels;
    }
};

template <class V, ColorLayout kLayout, ColorTarget kTarget>
struct ColorBody : ChannelsBody<V, ColorBlocks<V, kLayout>, kTarget> {
    template <class W>
    using Rebind = ColorBody<W, kLayout, kTarget>;
};
// RGB8 to another order or to four bytes needs no channels: bytes change places within registers.
template <class V, ColorTarget kTarget>
requires(target_bytes(kTarget) != 1) struct ColorBody<V, kRgb8, kTarget>
    : ChannelsBody<V, ColorBlocks<V, kRgb8>, kTarget> {
    template <class W>
    using Rebind = ColorBody<W, kRgb8, kTarget>;
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        if constexpr (kTarget == kCba) {
            V::swap_rb3(in[0], out[0]);
        } else {
            V::template widen3<kTarget == kCba0>(in[0], out[0]);
        }
    }
};
template <class V, ColorLayout kLayout, ColorTarget kTarget>
__attribute__((flatten)) void color_row(const uint8_t* src, uint8_t* dst, size_t pixels) {
    run_row<ColorBody<V, kLayout, kTarget>>({{src}, {dst}}, pixels);
}

}  // namespace imgcnv
