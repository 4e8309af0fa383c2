// Demosaicing of 16-bit samples, the vector bodies; demosaic16_plain.h has the rules.
//
// A vector holds neighbouring pixels of a row, chroma and green sites in turn. What either kind of
// site needs is computed at all of them and blended.
#pragma once

#include "layouts/kernel_table.h"
#include "layouts/vector_ops.h"

namespace frames {

/// Means of unsigned words that drop the fraction, of what enter() makes of samples and leave()
/// makes samples again. Sums of four samples of up to 14 bits fit into a word. Others are their
/// complements in between: averages round up, which is down for these.
template <class V, bool kUpTo14>
struct Means {
    static Words<V> enter(Words<V> a) { return kUpTo14 ? a : ~a; }
    static Words<V> leave(Words<V> a) { return kUpTo14 ? a : ~a; }

    static Words<V> of2(Words<V> a, Words<V> b) {
        if constexpr (kUpTo14) return (a + b) >> 1;
        return V::average(a, b);
    }
    static Words<V> of4(Words<V> a, Words<V> b, Words<V> c, Words<V> d) {
        if constexpr (kUpTo14) return (a + b + c + d) >> 2;
        // One too much where all three averages were rounded.
        const Words<V> ab = V::average(a, b), cd = V::average(c, d);
        return V::average(ab, cd) - ((a ^ b) & (c ^ d) & (ab ^ cd) & uint16_t{1});
    }
};

/// Words of a where the place in a lane is odd (kOdd) or even, else of b.
template <class V, bool kOdd>
[[gnu::always_inline]] inline Words<V> blend_sites(Words<V> a, Words<V> b) {
    return [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex);
        return __builtin_shufflevector(a, b, (kIndex % 2 == kOdd ? kIndex : kIndex + kCount)...);
    }
    (std::make_index_sequence<kVectorBytes<V> / 2>());
}

/// Of `kWords` words, word i of output j of three is word g = kWords j + i of the interleaved
/// pixels: channel g % 3 of pixel g / 3. A channel's words go to different places in the three
/// outputs, so one permutation of each channel serves all outputs, which are blended.
template <size_t kWords>
constexpr size_t pixel_at(size_t i, size_t channel) {
    size_t j = 0;
    while ((kWords * j + i) % 3 != channel) ++j;
    return (kWords * j + i) / 3;
}

template <class V, size_t kChannel>
[[gnu::always_inline]] inline Words<V> spread_words(Words<V> a) {
    if constexpr (WholeVector<V>) {
        static constexpr VectorWords<V> kIndices = [] {
            constexpr size_t kWords = kVectorBytes<V> / 2;
            VectorWords<V> indices{};
            for (size_t i = 0; i < kWords; ++i)
                indices.at[i] = static_cast<uint16_t>(pixel_at<kWords>(i, kChannel));
            return indices;
        }();
        return V::permute_words(a, load_vector<V, Words<V>>(kIndices.at));
    } else {
        static constexpr LaneBytes kIndices = [] {
            LaneBytes indices{};
            for (size_t i = 0; i < 16; ++i)
                indices.at[i] = static_cast<uint8_t>(pixel_at<8>(i / 2, kChannel) * 2 + i % 2);
            return indices;
        }();
        return (Words<V>)shuffle<V>((Bytes<V>)a, kIndices);
    }
}

/// Words of c[g % 3] for g from kWords * kOutput on, within lanes or whole vectors.
template <class V, size_t kOutput>
[[gnu::always_inline]] inline Words<V> blend_channels(Words<V> c0, Words<V> c1, Words<V> c2) {
    return [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex), kWords = WholeVector<V> ? kCount : 8;
        const Words<V> two = __builtin_shufflevector(
            c0, c1, ((kWords * kOutput + kIndex % kWords) % 3 == 1 ? kIndex + kCount : kIndex)...);
        return __builtin_shufflevector(
            two, c2, ((kWords * kOutput + kIndex % kWords) % 3 == 2 ? kIndex + kCount : kIndex)...);
    }
    (std::make_index_sequence<kVectorBytes<V> / 2>());
}

template <class V>
[[gnu::always_inline]] inline void store_pixels(uint16_t* out, Words<V> c0, Words<V> c1,
                                                Words<V> c2) {
    c0 = spread_words<V, 0>(c0);
    c1 = spread_words<V, 1>(c1);
    c2 = spread_words<V, 2>(c2);
    const auto first = (Bytes<V>)blend_channels<V, 0>(c0, c1, c2);
    const auto second = (Bytes<V>)blend_channels<V, 1>(c0, c1, c2);
    const auto third = (Bytes<V>)blend_channels<V, 2>(c0, c1, c2);
    auto* bytes = reinterpret_cast<uint8_t*>(out);
    if constexpr (WholeVector<V>) {
        store_vector<V>(bytes, first);
        store_vector<V>(bytes + kVectorBytes<V>, second);
        store_vector<V>(bytes + 2 * kVectorBytes<V>, third);
    } else {
        V::store_lanes3(bytes, first, second, third);
    }
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

template <class V, bool kChromaFirst, bool kOwnFirst>
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
        constexpr size_t kChroma = kChromaFirst ? 0 : 1;
        for_each_block<V>(pixels, [&](size_t x) {
            const Words<V> s = load(line + x), t = load(across + x);
            // Greens of the row are beside the chroma sites, those of the other row below them.
            using Mean = Means<V, kUpTo14>;
            const Words<V> mean =
                Mean::leave(Mean::of2(Mean::enter(of_pair<1 - kChroma>(s)), Mean::enter(t)));
            store_own_green_other<V, kOwnFirst>(out + 3 * x, of_pair<kChroma>(s),
                                                blend_sites<V, kChroma>(mean, s),
                                                of_pair<1 - kChroma>(t));
        });
    }

    template <bool kUpTo14>
    static void store_bilinear(uint16_t* out, Words<V> left, Words<V> own, Words<V> right,
                               Words<V> up, Words<V> down, Words<V> corners) {
        using Mean = Means<V, kUpTo14>;
        constexpr size_t kChroma = kChromaFirst ? 0 : 1;
        const Words<V> cross = Mean::of4(left, right, up, down);
        store_own_green_other<V, kOwnFirst>(
            out, Mean::leave(blend_sites<V, kChroma>(own, Mean::of2(left, right))),
            Mean::leave(blend_sites<V, kChroma>(cross, own)),
            Mean::leave(blend_sites<V, kChroma>(corners, Mean::of2(up, down))));
    }
    template <bool kUpTo14>
    static void bilinear_block(const uint16_t* u, const uint16_t* s, const uint16_t* d,
                               uint16_t* out) {
        using Mean = Means<V, kUpTo14>;
        const auto at = [](const uint16_t* p) { return Mean::enter(load(p)); };
        const Words<V> corners = Mean::of4(at(u - 1), at(u + 1), at(d - 1), at(d + 1));
        store_bilinear<kUpTo14>(out, at(s - 1), at(s), at(s + 1), at(u), at(d), corners);
    }

    /// Blocks from x on that have another block on either side; returns where they end. Words are
    /// moved within registers, because 64-byte loads from beside a block cross a cache line, which
    /// takes twice the time.
    template <bool kUpTo14>
    static size_t bilinear_run(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                               uint16_t* out, size_t x, size_t width) requires WholeVector<V> {
        constexpr size_t kBlock = kVectorBytes<V> / 2;
        if (x + kBlock > width) return x;
        struct Column {
            Words<V> up, own, down;
        };
        const auto column = [&](size_t at) {
            using Mean = Means<V, kUpTo14>;
            return Column{Mean::enter(load(above + at)), Mean::enter(load(line + at)),
                          Mean::enter(load(below + at))};
        };
        Column before = column(x - kBlock), a = column(x);
        for (; x + 2 * kBlock <= width; x += kBlock) {
            const Column behind = column(x + kBlock);
            Words<V> corners;
            if constexpr (kUpTo14)
                corners = (word_before(before.up + before.down, a.up + a.down) +
                           word_behind(a.up + a.down, behind.up + behind.down)) >>
                          2;
            else
                corners = Means<V, false>::of4(
                    word_before(before.up, a.up), word_behind(a.up, behind.up),
                    word_before(before.down, a.down), word_behind(a.down, behind.down));
            store_bilinear<kUpTo14>(out + 3 * x, word_before(before.own, a.own), a.own,
                                    word_behind(a.own, behind.own), a.up, a.down, corners);
            before = a;
            a = behind;
        }
        return x;
    }
    /// The words one place before, and behind, of vectors that lie side by side.
    static Words<V> word_before(Words<V> before, Words<V> a) {
        return moved<kVectorBytes<V> - 2>(before, a);
    }
    static Words<V> word_behind(Words<V> a, Words<V> behind) { return moved<2>(a, behind); }
    template <size_t kFirst>
    static Words<V> moved(Words<V> a, Words<V> b) {
        static constexpr VectorBytes<V> kIndices = [] {
            VectorBytes<V> indices{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i)
                indices.at[i] = static_cast<uint8_t>(kFirst + i);
            return indices;
        }();
        return (Words<V>)V::permute2((Bytes<V>)a, (Bytes<V>)b,
                                     load_vector<V, Bytes<V>>(kIndices.at));
    }

    /// Green and, of chroma sites, the difference to it.
    static void adaptive_green(const uint16_t* const* rows, ptrdiff_t column, uint16_t* green,
                               int32_t* differences, size_t pixels, uint16_t largest) {
        constexpr size_t kChroma = kChromaFirst ? 0 : 1;
        const uint16_t *r0 = rows[0] + column, *r1 = rows[1] + column, *r2 = rows[2] + column,
                       *r3 = rows[3] + column, *r4 = rows[4] + column;
        for_each_block<V>(pixels, [&](size_t x) {
            const Words<V> own = load(r2 + x);
            const Words<V> across[] = {load(r2 + x - 2), load(r2 + x - 1), load(r2 + x + 1),
                                       load(r2 + x + 2)};
            const Words<V> along[] = {load(r0 + x), load(r1 + x), load(r3 + x), load(r4 + x)};
            const Words<V> estimate = V::smaller(
                V::pack_dwords(green_of<0>(own, across, along), green_of<1>(own, across, along)),
                Words<V>{} + largest);
            const Words<V> result = blend_sites<V, kChroma>(estimate, own);
            store_vector<V>(green + x, result);
            store_half<0>(differences + x, widen_words<V, 0>(own) - widen_words<V, 0>(result));
            store_half<1>(differences + x, widen_words<V, 1>(own) - widen_words<V, 1>(result));
        });
    }

    static void adaptive_color(const uint16_t* line, const uint16_t* green,
                               const int32_t* const* differences, uint16_t* out, size_t pixels,
                               uint16_t largest) {
        constexpr size_t kChroma = kChromaFirst ? 0 : 1;
        for_each_block<V>(pixels, [&](size_t x) {
            const int32_t *above = differences[0] + x, *own = differences[1] + x,
                          *below = differences[2] + x;
            const Words<V> s = load(line + x), g = load(green + x);
            // Below 0 is clamped by packing.
            const auto corrected = [&](auto mean) {
                return V::smaller(V::pack_dwords(widen_words<V, 0>(g) + mean(LaneHalf<0>()),
                                                 widen_words<V, 1>(g) + mean(LaneHalf<1>())),
                                  Words<V>{} + largest);
            };
            const Words<V> from_row =
                corrected([&](auto half) { return (half.of(own - 1) + half.of(own + 1)) >> 1; });
            const Words<V> from_column =
                corrected([&](auto half) { return (half.of(above) + half.of(below)) >> 1; });
            const Words<V> from_corners = corrected([&](auto half) {
                return (half.of(above - 1) + half.of(above + 1) + half.of(below - 1) +
                        half.of(below + 1)) >>
                       2;
            });
            store_own_green_other<V, kOwnFirst>(out + 3 * x, blend_sites<V, kChroma>(s, from_row),
                                                g,
                                                blend_sites<V, kChroma>(from_corners, from_column));
        });
    }

  private:
    /// The low or high four dwords of what is 8 in each lane of words.
    template <int kHalf>
    struct LaneHalf {
        static Dwords<V> of(const int32_t* p) {
            return (Dwords<V>)V::load_lanes(reinterpret_cast<const uint8_t*>(p + 4 * kHalf), 32);
        }
    };
    template <int kHalf>
    static void store_half(int32_t* p, Dwords<V> a) {
        V::store_lanes(reinterpret_cast<uint8_t*>(p + 4 * kHalf), 32, (Bytes<V>)a);
    }
    static Dwords<V> absolute(Dwords<V> a) {
        const Dwords<V> sign = a >> 31;
        return (a ^ sign) - sign;
    }
    /// Neighbours two before, one before, one behind, two behind: in the row, and in the column.
    template <int kHalf>
    static Dwords<V> green_of(Words<V> own, const Words<V> (&across)[4],
                              const Words<V> (&along)[4]) {
        const auto wide = [](Words<V> a) { return widen_words<V, kHalf>(a); };
        const Dwords<V> twice = wide(own) << 1;
        const auto laplacian = [&](const Words<V>(&line)[4]) {
            return twice - wide(line[0]) - wide(line[3]);
        };
        const Dwords<V> laplacian_h = laplacian(across), laplacian_v = laplacian(along);
        const Dwords<V> left = wide(across[1]), right = wide(across[2]);
        const Dwords<V> up = wide(along[1]), down = wide(along[2]);
        const Dwords<V> is_h = absolute(laplacian_h) + absolute(left - right) <
                               absolute(laplacian_v) + absolute(up - down);
        const Dwords<V> green_h = ((left + right) >> 1) + (laplacian_h >> 2);
        const Dwords<V> green_v = ((up + down) >> 1) + (laplacian_v >> 2);
        return (green_h & is_h) | (green_v & ~is_h);
    }
};

/// Calls f with the constants that a row is.
template <class V, class F>
void with_row_kind(Demosaic16Row row, F f) {
    if (row.chroma_first && row.own_first) return f(Demosaic16Rows<V, true, true>());
    if (row.chroma_first) return f(Demosaic16Rows<V, true, false>());
    if (row.own_first) return f(Demosaic16Rows<V, false, true>());
    f(Demosaic16Rows<V, false, false>());
}

[[gnu::always_inline]] inline uint16_t largest16(Demosaic16Row row) {
    return static_cast<uint16_t>((1U << row.depth) - 1);
}

template <class V>
[[gnu::flatten]] void nearest16_row(const uint16_t* line, const uint16_t* across, uint16_t* out,
                                    size_t pixels, Demosaic16Row row) {
    with_row_kind<V>(row, [&](auto rows) {
        if (row.depth <= 14) return rows.template nearest<true>(line, across, out, pixels);
        rows.template nearest<false>(line, across, out, pixels);
    });
}

/// Blocks begin where the lines of a picture may begin, but for the first and the last. Pixels at
/// odd columns are of the other kind of site.
template <class V, bool kChromaFirst, bool kOwnFirst, bool kUpTo14>
[[gnu::flatten]] void bilinear16_blocks(const uint16_t* above, const uint16_t* line,
                                        const uint16_t* below, uint16_t* out, size_t width) {
    constexpr size_t kBlock = kVectorBytes<V> / 2;
    const auto odd_block = [&](size_t x) {
        Demosaic16Rows<V, !kChromaFirst, kOwnFirst>::template bilinear_block<kUpTo14>(
            above + x, line + x, below + x, out + 3 * x);
    };
    odd_block(1);
    size_t x = kBlock;
    if constexpr (WholeVector<V>)
        x = Demosaic16Rows<V, kChromaFirst, kOwnFirst>::template bilinear_run<kUpTo14>(
            above, line, below, out, x, width);
    for (; x + kBlock < width; x += kBlock)
        Demosaic16Rows<V, kChromaFirst, kOwnFirst>::template bilinear_block<kUpTo14>(
            above + x, line + x, below + x, out + 3 * x);
    if (x + 1 < width) odd_block(width - 1 - kBlock);
}

template <class V>
[[gnu::flatten]] void bilinear16_row(const uint16_t* above, const uint16_t* line,
                                     const uint16_t* below, uint16_t* out, size_t width,
                                     Demosaic16Row row) {
    const auto run = [&]<bool kChromaFirst, bool kOwnFirst>(
                         Demosaic16Rows<V, kChromaFirst, kOwnFirst>) {
        if (row.depth <= 14)
            bilinear16_blocks<V, kChromaFirst, kOwnFirst, true>(above, line, below, out, width);
        else
            bilinear16_blocks<V, kChromaFirst, kOwnFirst, false>(above, line, below, out, width);
    };
    with_row_kind<V>(row, run);
}

template <class V>
[[gnu::flatten]] void adaptive16_green_row(const uint16_t* const* rows, ptrdiff_t column,
                                           uint16_t* green, int32_t* differences, size_t pixels,
                                           Demosaic16Row row) {
    with_row_kind<V>(row, [&](auto rows_of_kind) {
        rows_of_kind.adaptive_green(rows, column, green, differences, pixels, largest16(row));
    });
}

template <class V>
[[gnu::flatten]] void adaptive16_color_row(const uint16_t* line, const uint16_t* green,
                                           const int32_t* const* differences, uint16_t* out,
                                           size_t pixels, Demosaic16Row row) {
    with_row_kind<V>(row, [&](auto rows_of_kind) {
        rows_of_kind.adaptive_color(line, green, differences, out, pixels, largest16(row));
    });
}

}  // namespace frames
