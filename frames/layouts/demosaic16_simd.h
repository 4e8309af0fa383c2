// Demosaicing of 16-bit samples, the vector bodies; demosaic16_plain.h has the rules.
//
// A vector holds neighbouring pixels of a row, colour and green sites in turn. What either kind of
// site needs is computed at all of them and blended.
#pragma once

#include "layouts/kernel_table.h"
#include "layouts/vector_ops.h"

namespace frames {

/// Means of unsigned words that drop the fraction. Sums of four samples of up to 14 bits fit into
/// a word.
template <class V, bool kUpTo14>
struct Means {
    static Words<V> of2(Words<V> a, Words<V> b) {
        if constexpr (kUpTo14) return (a + b) >> 1;
        return (a & b) + ((a ^ b) >> 1);
    }
    static Words<V> of4(Words<V> a, Words<V> b, Words<V> c, Words<V> d) {
        if constexpr (kUpTo14) return (a + b + c + d) >> 2;
        // The halves dropped from both means of two make one if there are two.
        const Words<V> ab = of2(a, b), cd = of2(c, d);
        const Words<V> carry = (a ^ b) & (c ^ d) & uint16_t{1};
        return of2(ab, cd) + ((ab ^ cd) & carry);
    }
};

/// Words of a where the place in a lane is odd (kOdd) or even, else of b.
template <class V, bool kOdd>
Words<V> blend_sites(Words<V> a, Words<V> b) {
    return [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex);
        return __builtin_shufflevector(a, b, (kIndex % 2 == kOdd ? kIndex : kIndex + kCount)...);
    }
    (std::make_index_sequence<kVectorBytes<V> / 2>());
}

/// Word i of a lane's output j of three is word g = 8 j + i of the interleaved pixels: channel
/// g % 3 of pixel g / 3. A channel's words go to different places in the three outputs, so one
/// shuffle of each channel serves all outputs, which are blended.
template <size_t kChannel>
inline constexpr LaneBytes kSpreadWords = [] {
    LaneBytes indices{};
    for (size_t i = 0; i < 8; ++i)
        for (size_t j = 0; j < 3; ++j)
            if ((8 * j + i) % 3 == kChannel) {
                indices.at[2 * i] = static_cast<uint8_t>((8 * j + i) / 3 * 2);
                indices.at[2 * i + 1] = static_cast<uint8_t>((8 * j + i) / 3 * 2 + 1);
            }
    return indices;
}();

/// Words of c[g % 3] for g from 8 * kOutput on.
template <class V, size_t kOutput>
Words<V> blend_channels(Words<V> c0, Words<V> c1, Words<V> c2) {
    return [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex);
        const Words<V> two = __builtin_shufflevector(
            c0, c1, ((8 * kOutput + kIndex % 8) % 3 == 1 ? kIndex + kCount : kIndex)...);
        return __builtin_shufflevector(
            two, c2, ((8 * kOutput + kIndex % 8) % 3 == 2 ? kIndex + kCount : kIndex)...);
    }
    (std::make_index_sequence<kVectorBytes<V> / 2>());
}

template <class V>
void store_pixels(uint16_t* out, Words<V> c0, Words<V> c1, Words<V> c2) {
    c0 = (Words<V>)shuffle<V>((Bytes<V>)c0, kSpreadWords<0>);
    c1 = (Words<V>)shuffle<V>((Bytes<V>)c1, kSpreadWords<1>);
    c2 = (Words<V>)shuffle<V>((Bytes<V>)c2, kSpreadWords<2>);
    V::store_lanes3(reinterpret_cast<uint8_t*>(out), (Bytes<V>)blend_channels<V, 0>(c0, c1, c2),
                    (Bytes<V>)blend_channels<V, 1>(c0, c1, c2),
                    (Bytes<V>)blend_channels<V, 2>(c0, c1, c2));
}

template <class V, bool kOwnFirst>
void store_own_green_other(uint16_t* out, Words<V> own, Words<V> green, Words<V> other) {
    if constexpr (kOwnFirst) return store_pixels<V>(out, own, green, other);
    store_pixels<V>(out, other, green, own);
}

/// Blocks of pixels from 0 on; the last block ends with the row and may do pixels again.
template <class V, class Block>
void for_each_block(size_t pixels, Block block) {
    constexpr size_t kBlock = kVectorBytes<V> / 2;
    size_t x = 0;
    for (; x + kBlock <= pixels; x += kBlock) block(x);
    if (x < pixels) block(pixels - kBlock);
}

template <class V, bool kColorFirst, bool kOwnFirst>
struct Demosaic16Rows {
    static Words<V> load(const uint16_t* p) { return load_vector<V, Words<V>>(p); }

    template <size_t kPlace>
    static Words<V> of_pair(Words<V> a) {
        static constexpr LaneBytes kIndices = [] {
            LaneBytes indices{};
            for (size_t i = 0; i < 16; ++i)
                indices.at[i] = static_cast<uint8_t>(i / 4 * 4 + 2 * kPlace + i % 2);
            return indices;
        }();
        return (Words<V>)shuffle<V>((Bytes<V>)a, kIndices);
    }

    template <bool kUpTo14>
    static void nearest(const uint16_t* line, const uint16_t* across, uint16_t* out,
                        size_t pixels) {
        constexpr size_t kColor = kColorFirst ? 0 : 1;
        for_each_block<V>(pixels, [&](size_t x) {
            const Words<V> s = load(line + x), t = load(across + x);
            // Greens of the row are beside the colour sites, those of the other row below them.
            const Words<V> mean = Means<V, kUpTo14>::of2(of_pair<1 - kColor>(s), t);
            store_own_green_other<V, kOwnFirst>(out + 3 * x, of_pair<kColor>(s),
                                                blend_sites<V, kColor>(mean, s),
                                                of_pair<1 - kColor>(t));
        });
    }

    template <bool kUpTo14>
    static void bilinear(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                         uint16_t* out, size_t pixels) {
        using Mean = Means<V, kUpTo14>;
        constexpr size_t kColor = kColorFirst ? 0 : 1;
        for_each_block<V>(pixels, [&](size_t x) {
            const uint16_t *u = above + x, *s = line + x, *d = below + x;
            const Words<V> left = load(s - 1), own = load(s), right = load(s + 1);
            const Words<V> up = load(u), down = load(d);
            const Words<V> cross = Mean::of4(left, right, up, down);
            const Words<V> corners = Mean::of4(load(u - 1), load(u + 1), load(d - 1), load(d + 1));
            store_own_green_other<V, kOwnFirst>(
                out + 3 * x, blend_sites<V, kColor>(own, Mean::of2(left, right)),
                blend_sites<V, kColor>(cross, own),
                blend_sites<V, kColor>(corners, Mean::of2(up, down)));
        });
    }
};

/// Calls f with the constants that a row is.
template <class V, class F>
void with_row_kind(Demosaic16Row row, F f) {
    if (row.color_first && row.own_first) return f(Demosaic16Rows<V, true, true>());
    if (row.color_first) return f(Demosaic16Rows<V, true, false>());
    if (row.own_first) return f(Demosaic16Rows<V, false, true>());
    f(Demosaic16Rows<V, false, false>());
}

template <class V>
void nearest16_row(const uint16_t* line, const uint16_t* across, uint16_t* out, size_t pixels,
                   Demosaic16Row row) {
    with_row_kind<V>(row, [&](auto rows) {
        if (row.depth <= 14) return rows.template nearest<true>(line, across, out, pixels);
        rows.template nearest<false>(line, across, out, pixels);
    });
}

template <class V>
void bilinear16_row(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                    uint16_t* out, size_t pixels, Demosaic16Row row) {
    with_row_kind<V>(row, [&](auto rows) {
        if (row.depth <= 14) return rows.template bilinear<true>(above, line, below, out, pixels);
        rows.template bilinear<false>(above, line, below, out, pixels);
    });
}

}  // namespace frames
