// Demosaicing of 16-bit samples, the vector bodies; demosaic16_plain.h has the rules.
//
// A vector holds neighbouring pixels of a row, chroma and green sites in turn. What either kind of
// site needs is computed at all of them and blended.
#pragma once

#include "layouts/kernel_table.h"
#include "layouts/vector_ops.h"

namespace frames {

/// The sum of two samples. Of samples of up to 14 bits even two sums fit into a word.
template <class V, bool kUpTo14>
struct SumOfTwo {
    Words<V> sum;

    static SumOfTwo of(Words<V> a, Words<V> b) { return {a + b}; }
    /// Of each place, a word of one of both.
    template <class F>
    static SumOfTwo choose(SumOfTwo a, SumOfTwo b, F words) {
        return {words(a.sum, b.sum)};
    }
    static Words<V> quarter(SumOfTwo a, SumOfTwo b) { return (a.sum + b.sum) >> 2; }
};
/// Others are kept as half of it, rounded up, and in the lowest bit of `rounded` whether it was.
template <class V>
struct SumOfTwo<V, false> {
    Words<V> half, rounded;

    static SumOfTwo of(Words<V> a, Words<V> b) { return {V::average(a, b), a ^ b}; }
    template <class F>
    static SumOfTwo choose(SumOfTwo a, SumOfTwo b, F words) {
        return {words(a.half, b.half), words(a.rounded, b.rounded)};
    }
    /// However often it was rounded up on the way, that is one too much.
    static Words<V> quarter(SumOfTwo a, SumOfTwo b) {
        return V::average(a.half, b.half) -
               (((a.half ^ b.half) | a.rounded | b.rounded) & uint16_t{1});
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

/// Words of `third` for channel kChannel, of a for the others.
template <class V, size_t kChannel, size_t kOutput>
[[gnu::always_inline]] inline Words<V> blend_third(Words<V> a, Words<V> third) {
    return [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex);
        return __builtin_shufflevector(
            a, third, ((kCount * kOutput + kIndex) % 3 == kChannel ? kIndex + kCount : kIndex)...);
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
    static constexpr size_t kChroma = kChromaFirst ? 0 : 1;

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
        for_each_block<V>(pixels, [&](size_t x) {
            const Words<V> s = load(line + x), t = load(across + x);
            // Greens of the row are beside the chroma sites, those of the other row below them.
            const Words<V> green = of_pair<1 - kChroma>(s);
            // Averages round up, which is down for complements.
            const Words<V> mean = kUpTo14 ? (green + t) >> 1 : ~V::average(~green, ~t);
            store_own_green_other<V, kOwnFirst>(out + 3 * x, of_pair<kChroma>(s),
                                                blend_sites<V, kChroma>(mean, s),
                                                of_pair<1 - kChroma>(t));
        });
    }

    /// `up_down` are the sums of the samples above and below; `aside` are at green sites the same,
    /// at chroma sites those of the neighbour that is in another pair.
    template <bool kUpTo14>
    static void store_bilinear(uint16_t* out, Words<V> left, Words<V> own, Words<V> right,
                               SumOfTwo<V, kUpTo14> up_down, SumOfTwo<V, kUpTo14> aside) {
        using Sum = SumOfTwo<V, kUpTo14>;
        const Sum left_right = Sum::of(left, right);
        const auto at_chroma = [](Words<V> a, Words<V> b) { return blend_sites<V, kChroma>(a, b); };
        const auto at_green = [](Words<V> a, Words<V>) { return of_pair<1 - kChroma>(a); };
        store_sites(out, own, Sum::quarter(left_right, Sum::choose(up_down, left_right, at_chroma)),
                    Sum::quarter(Sum::choose(up_down, up_down, at_green), aside));
    }
    template <bool kUpTo14>
    static void bilinear_block(const uint16_t* u, const uint16_t* s, const uint16_t* d,
                               uint16_t* out) {
        using Sum = SumOfTwo<V, kUpTo14>;
        constexpr ptrdiff_t kAside = kChromaFirst ? -1 : 1;
        const Sum up_down = Sum::of(load(u), load(d));
        const Sum aside =
            Sum::choose(Sum::of(load(u + kAside), load(d + kAside)), up_down,
                        [](Words<V> a, Words<V> b) { return blend_sites<V, kChroma>(a, b); });
        store_bilinear<kUpTo14>(out, load(s - 1), load(s), load(s + 1), up_down, aside);
    }

    /// Blocks from the first pixel on while another block is behind them; `to_end` says whether the
    /// last one of a row may be made, too. Returns where they end. Words are moved within
    /// registers, because 64-byte loads from beside a block cross a cache line, which takes twice
    /// the time.
    template <bool kUpTo14>
    static size_t bilinear_run(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                               uint16_t* out, size_t width, bool to_end) requires WholeVector<V> {
        constexpr size_t kBlock = kVectorBytes<V> / 2;
        using Sum = SumOfTwo<V, kUpTo14>;
        struct Column {
            Words<V> own;
            Sum up_down;
        };
        const auto column = [&](size_t at) {
            return Column{load(line + at), Sum::of(load(above + at), load(below + at))};
        };
        // What stands for the column beyond a row's end.
        const auto mirrored = [](const Column& a, auto word) {
            return Column{word(a.own, a.own), Sum::choose(a.up_down, a.up_down, word)};
        };
        const auto make = [&](size_t x, const Column& before, const Column& a,
                              const Column& behind) {
            const auto aside = kChromaFirst ? Sum::choose(before.up_down, a.up_down, chroma_before)
                                            : Sum::choose(a.up_down, behind.up_down, chroma_behind);
            store_bilinear<kUpTo14>(out + 3 * x, moved<kBlock - 1, kBlock - 1>(before.own, a.own),
                                    a.own, moved<1, 1>(a.own, behind.own), a.up_down, aside);
        };
        if (2 * kBlock > width) return 0;
        size_t x = 0;
        Column a = column(0), before = mirrored(a, moved<2, 2>);
        for (; x + 2 * kBlock <= width; x += kBlock) {
            const Column behind = column(x + kBlock);
            make(x, before, a, behind);
            before = a;
            a = behind;
        }
        if (x + kBlock == width && to_end) {
            make(x, before, a, mirrored(a, moved<kBlock - 2, kBlock - 2>));
            x = width;
        }
        return x;
    }
    /// Words of vectors that lie side by side: at even places from kEven on, at odd ones from kOdd.
    template <size_t kEven, size_t kOdd>
    static Words<V> moved(Words<V> a, Words<V> b) {
        static constexpr VectorBytes<V> kIndices = [] {
            VectorBytes<V> indices{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i)
                indices.at[i] = static_cast<uint8_t>(2 * (i / 2 % 2 == 0 ? kEven : kOdd) + i);
            return indices;
        }();
        return (Words<V>)V::permute2((Bytes<V>)a, (Bytes<V>)b,
                                     load_vector<V, Bytes<V>>(kIndices.at));
    }
    static Words<V> chroma_before(Words<V> before, Words<V> a) {
        return moved<kVectorBytes<V> / 2 - 1, kVectorBytes<V> / 2>(before, a);
    }
    static Words<V> chroma_behind(Words<V> a, Words<V> behind) { return moved<0, 1>(a, behind); }

    /// `own` are the samples, `missing` what lies in their row and column: the green of chroma
    /// sites, the own colour of green sites. `other` is the other chroma.
    static void store_sites(uint16_t* out, Words<V> own, Words<V> missing, Words<V> other) {
        if constexpr (WholeVector<V>) {
            constexpr size_t kOther = kOwnFirst ? 2 : 0;
            other = spread_words<V, kOther>(other);
            const auto store = [&]<size_t kOutput>() {
                store_vector<V>(
                    out + kOutput * kVectorBytes<V> / 2,
                    blend_third<V, kOther, kOutput>(spread_two<kOutput>(own, missing), other));
            };
            store.template operator()<0>();
            store.template operator()<1>();
            store.template operator()<2>();
        } else {
            store_own_green_other<V, kOwnFirst>(out, blend_sites<V, kChroma>(own, missing),
                                                blend_sites<V, kChroma>(missing, own), other);
        }
    }
    /// Words of two vectors for their places in output kOutput of three.
    template <size_t kOutput>
    static Words<V> spread_two(Words<V> own, Words<V> missing) {
        static constexpr VectorBytes<V> kIndices = [] {
            VectorBytes<V> indices{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i) {
                const size_t word = kOutput * kVectorBytes<V> / 2 + i / 2, pixel = word / 3;
                const bool is_green = word % 3 == 1, is_own = is_green == (pixel % 2 != kChroma);
                const size_t at = 2 * pixel + i % 2;
                indices.at[i] = static_cast<uint8_t>(is_own ? at : kVectorBytes<V> + at);
            }
            return indices;
        }();
        return (Words<V>)V::permute2((Bytes<V>)own, (Bytes<V>)missing,
                                     load_vector<V, Bytes<V>>(kIndices.at));
    }

    /// The first or last pixel of a row: the neighbour `inner` stands for the one beyond, too.
    static void bilinear_end(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                             size_t x, size_t inner, uint16_t* out) {
        const bool is_chroma = x % 2 == kChroma;
        const size_t vertical = is_chroma ? inner : x;
        out += 3 * x;
        out[kOwnFirst ? 0 : 2] = line[is_chroma ? x : inner];
        out[1] = line[is_chroma ? inner : x];
        out[kOwnFirst ? 2 : 0] = static_cast<uint16_t>((above[vertical] + below[vertical]) >> 1);
    }

    /// Green and, of chroma sites, the difference to it.
    static void adaptive_green(const uint16_t* const* rows, ptrdiff_t column, uint16_t* green,
                               int32_t* differences, size_t pixels, uint16_t largest) {
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

[[gnu::always_inline]] inline uint16_t largest16(const Demosaic16Row& row) {
    return static_cast<uint16_t>((1U << row.depth) - 1);
}

template <class V>
[[gnu::flatten]] void nearest16_row(const uint16_t* line, const uint16_t* across, uint16_t* out,
                                    size_t pixels, const Demosaic16Row& row) {
    with_row_kind<V>(row, [&](auto rows) {
        if (row.depth <= 14) return rows.template nearest<true>(line, across, out, pixels);
        rows.template nearest<false>(line, across, out, pixels);
    });
}

/// Blocks begin where the lines of a picture may begin, but for the last and, on levels with lanes,
/// the first. Pixels at odd columns are of the other kind of site.
template <class V, bool kChromaFirst, bool kOwnFirst, bool kUpTo14>
[[gnu::flatten]] void bilinear16_blocks(const uint16_t* above, const uint16_t* line,
                                        const uint16_t* below, uint16_t* out, size_t width,
                                        size_t width_out) {
    constexpr size_t kBlock = kVectorBytes<V> / 2;
    using Rows = Demosaic16Rows<V, kChromaFirst, kOwnFirst>;
    const auto odd_block = [&](size_t x) {
        Demosaic16Rows<V, !kChromaFirst, kOwnFirst>::template bilinear_block<kUpTo14>(
            above + x, line + x, below + x, out + 3 * x);
    };
    size_t x = 0;
    if constexpr (WholeVector<V>)
        x = Rows::template bilinear_run<kUpTo14>(above, line, below, out, width,
                                                 width_out == width);
    if (x == width) return;
    if (x == 0) {
        Rows::bilinear_end(above, line, below, 0, 1, out);
        odd_block(1);
        x = kBlock;
    }
    for (; x + kBlock < width; x += kBlock)
        Rows::template bilinear_block<kUpTo14>(above + x, line + x, below + x, out + 3 * x);
    if (x + 1 < width) odd_block(width - 1 - kBlock);
    if (width_out == width) Rows::bilinear_end(above, line, below, width - 1, width - 2, out);
}

template <class V>
[[gnu::flatten]] void bilinear16_row(const uint16_t* above, const uint16_t* line,
                                     const uint16_t* below, uint16_t* out, size_t width,
                                     size_t width_out, const Demosaic16Row& row) {
    const auto run =
        [&]<bool kChromaFirst, bool kOwnFirst>(Demosaic16Rows<V, kChromaFirst, kOwnFirst>) {
            if (row.depth <= 14)
                bilinear16_blocks<V, kChromaFirst, kOwnFirst, true>(above, line, below, out, width,
                                                                    width_out);
            else
                bilinear16_blocks<V, kChromaFirst, kOwnFirst, false>(above, line, below, out, width,
                                                                     width_out);
        };
    with_row_kind<V>(row, run);
}

template <class V>
[[gnu::flatten]] void adaptive16_green_row(const uint16_t* const* rows, ptrdiff_t column,
                                           uint16_t* green, int32_t* differences, size_t pixels,
                                           const Demosaic16Row& row) {
    with_row_kind<V>(row, [&](auto rows_of_kind) {
        rows_of_kind.adaptive_green(rows, column, green, differences, pixels, largest16(row));
    });
}

template <class V>
[[gnu::flatten]] void adaptive16_color_row(const uint16_t* line, const uint16_t* green,
                                           const int32_t* const* differences, uint16_t* out,
                                           size_t pixels, const Demosaic16Row& row) {
    with_row_kind<V>(row, [&](auto rows_of_kind) {
        rows_of_kind.adaptive_color(line, green, differences, out, pixels, largest16(row));
    });
}

}  // namespace frames
