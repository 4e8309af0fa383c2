// Demosaicing of 16-bit samples, the vector bodies; demosaic16_plain.h has the rules.
//
// A vector holds neighbouring pixels of a row, chroma and green sites in turn. What either kind of
// site needs is computed at all of them and blended.
#pragma once

#include "layouts/kernel_table.h"
#include "layouts/vector_ops.h"

namespace frames {

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
    static constexpr size_t kChroma = kChromaFirst ? 0 : 1, kGreen = 1 - kChroma;
    static constexpr size_t kBlock = kVectorBytes<V> / 2;

    using PlacesOfPairs = UnsignedDwords<V>;
    template <size_t kPlace>
    static PlacesOfPairs places(Words<V> a) {
        return kPlace == 0 ? (PlacesOfPairs)a & 0xFFFF : (PlacesOfPairs)a >> 16;
    }
    /// Words as dwords: those at even places, and those at odd ones.
    struct Pairs {
        PlacesOfPairs at[2];

        static Pairs of(Words<V> a) { return {places<0>(a), places<1>(a)}; }
        Pairs operator+(const Pairs& b) const { return {at[0] + b.at[0], at[1] + b.at[1]}; }
        /// From `kWords` words on, where b follows.
        template <size_t kWords>
        Pairs moved_on(const Pairs& b) const {
            const auto place = [&](size_t i) {
                return (PlacesOfPairs)moved<kWords, kWords>((Words<V>)at[i], (Words<V>)b.at[i]);
            };
            return {place(0), place(1)};
        }
    };

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

    /// Sums of samples of up to 14 bits fit into words. `up_down` are those of the samples above
    /// and below; `aside` are at green sites the same, at chroma sites those of the neighbour that
    /// is in another pair.
    static void store_bilinear(uint16_t* out, Words<V> left, Words<V> own, Words<V> right,
                               Words<V> up_down, Words<V> aside) {
        const Words<V> left_right = left + right;
        store_sites(out, own, (left_right + blend_sites<V, kChroma>(up_down, left_right)) >> 2,
                    (of_pair<1 - kChroma>(up_down) + aside) >> 2);
    }
    /// Larger samples and their sums are dwords, of one place of every pair each. The others are
    /// the neighbours in another pair: the green of a chroma site, the chroma of a green site, and
    /// the sum above and below the former.
    static void store_bilinear(uint16_t* out, Words<V> own, const Pairs& line, const Pairs& up_down,
                               PlacesOfPairs green, PlacesOfPairs chroma, PlacesOfPairs aside) {
        store_sites(out, own,
                    means(line.at[kGreen] + green + up_down.at[kChroma], line.at[kChroma] + chroma),
                    means(up_down.at[kGreen] + aside, up_down.at[kGreen]));
    }
    /// A quarter of the sums at chroma sites, half of those at green sites.
    static Words<V> means(PlacesOfPairs chroma, PlacesOfPairs green) {
        return blend_sites<V, kChroma>((Words<V>)(kChroma == 0 ? chroma >> 2 : chroma << 14),
                                       (Words<V>)(kChroma == 0 ? green << 15 : green >> 1));
    }

    template <bool kUpTo14>
    static void bilinear_block(const uint16_t* u, const uint16_t* s, const uint16_t* d,
                               uint16_t* out) {
        constexpr ptrdiff_t kAside = kChromaFirst ? -1 : 1;
        if constexpr (kUpTo14) {
            const Words<V> up_down = load(u) + load(d);
            store_bilinear(out, load(s - 1), load(s), load(s + 1), up_down,
                           blend_sites<V, kChroma>(load(u + kAside) + load(d + kAside), up_down));
        } else {
            const Words<V> own = load(s);
            store_bilinear(out, own, Pairs::of(own), Pairs::of(load(u)) + Pairs::of(load(d)),
                           places<kChroma>(load(s + kAside)), places<kGreen>(load(s - kAside)),
                           places<kChroma>(load(u + kAside)) + places<kChroma>(load(d + kAside)));
        }
    }

    /// A block's samples and the sums of those above and below.
    struct WordColumn {
        Words<V> own, up_down;

        static WordColumn of(Words<V> above, Words<V> line, Words<V> below) {
            return {line, above + below};
        }
        /// The same of the samples `kWords` further, when the block follows itself.
        template <size_t kWords>
        WordColumn turned() const {
            return {moved<kWords, kWords>(own, own), moved<kWords, kWords>(up_down, up_down)};
        }
        static void store(uint16_t* out, const WordColumn& before, const WordColumn& a,
                          const WordColumn& behind) {
            const auto aside = kChromaFirst ? moved<kBlock - 1, kBlock>(before.up_down, a.up_down)
                                            : moved<0, 1>(a.up_down, behind.up_down);
            store_bilinear(out, moved<kBlock - 1, kBlock - 1>(before.own, a.own), a.own,
                           moved<1, 1>(a.own, behind.own), a.up_down, aside);
        }
    };
    struct DwordColumn {
        Words<V> own;
        Pairs line, up_down;

        static DwordColumn of(Words<V> above, Words<V> line, Words<V> below) {
            return {line, Pairs::of(line), Pairs::of(above) + Pairs::of(below)};
        }
        template <size_t kWords>
        DwordColumn turned() const {
            return {own, line.template moved_on<kWords>(line),
                    up_down.template moved_on<kWords>(up_down)};
        }
        static void store(uint16_t* out, const DwordColumn& before, const DwordColumn& a,
                          const DwordColumn& behind) {
            const auto pair_before = [](const Pairs& b, const Pairs& c) {
                return b.template moved_on<kBlock - 2>(c);
            };
            const auto pair_behind = [](const Pairs& b, const Pairs& c) {
                return b.template moved_on<2>(c);
            };
            const Pairs line_before = pair_before(before.line, a.line);
            const Pairs line_behind = pair_behind(a.line, behind.line);
            const Pairs aside = kChromaFirst ? pair_before(before.up_down, a.up_down)
                                             : pair_behind(a.up_down, behind.up_down);
            store_bilinear(out, a.own, a.line, a.up_down,
                           (kChromaFirst ? line_before : line_behind).at[kGreen],
                           (kChromaFirst ? line_behind : line_before).at[kChroma],
                           aside.at[kGreen]);
        }
    };

    /// Blocks from the first pixel on while another block is behind them; `to_end` says whether the
    /// last one of a row may be made, too. Returns where they end. Words are moved within
    /// registers, because 64-byte loads from beside a block cross a cache line, which takes twice
    /// the time.
    template <class Column>
    static size_t bilinear_run(const uint16_t* above, const uint16_t* line, const uint16_t* below,
                               uint16_t* out, size_t width, bool to_end) {
        const auto column = [&](size_t at) {
            return Column::of(load(above + at), load(line + at), load(below + at));
        };
        if (2 * kBlock > width) return 0;
        size_t x = 0;
        // Turned by a pair, a block has beside it what stands for the columns beyond a row's end.
        Column a = column(0), before = a.template turned<2>();
        for (; x + 2 * kBlock <= width; x += kBlock) {
            const Column behind = column(x + kBlock);
            Column::store(out + 3 * x, before, a, behind);
            before = a;
            a = behind;
        }
        if (x + kBlock == width && to_end) {
            Column::store(out + 3 * x, before, a, a.template turned<kBlock - 2>());
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

    /// Dwords of the pairs' chroma sites and of their green sites as words.
    static Words<V> words_of(PlacesOfPairs chroma, PlacesOfPairs green) {
        return (Words<V>)(kChroma == 0 ? chroma | green << 16 : chroma << 16 | green);
    }

    /// Green and, of the chroma site of every pair, the difference to it.
    static void adaptive_green(const uint16_t* const* rows, ptrdiff_t column, uint16_t* green,
                               int32_t* differences, size_t pixels, uint16_t largest) {
        for_each_block<V>(pixels, [&](size_t x) {
            const auto row = [&](size_t i) { return load(rows[i] + column + x); };
            const auto chroma = [](Words<V> a) { return (Dwords<V>)places<kChroma>(a); };
            const auto green_of = [](Words<V> a) { return (Dwords<V>)places<kGreen>(a); };
            const Words<V> line = row(2), before = load(rows[2] + column + x - 2),
                           behind = load(rows[2] + column + x + 2);
            const Dwords<V> own = chroma(line);
            const Dwords<V> left = green_of(kChromaFirst ? before : line);
            const Dwords<V> right = green_of(kChromaFirst ? line : behind);
            const Dwords<V> up = chroma(row(1)), down = chroma(row(3));
            const Dwords<V> laplacian_h = 2 * own - chroma(before) - chroma(behind);
            const Dwords<V> laplacian_v = 2 * own - chroma(row(0)) - chroma(row(4));
            const auto is_h = absolute(laplacian_h) + absolute(left - right) <
                              absolute(laplacian_v) + absolute(up - down);
            const Dwords<V> sum = is_h ? left + right : up + down;
            const Dwords<V> estimate =
                clamped((sum >> 1) + ((is_h ? laplacian_h : laplacian_v) >> 2), largest);
            store_vector<V>(green + x, words_of((PlacesOfPairs)estimate, places<kGreen>(line)));
            store_vector<V>(differences + x / 2, own - estimate);
        });
    }

    /// A green site lies between the chroma sites of its pair and of the next pair; in the rows
    /// above and below it is the other way round.
    static void adaptive_color(const uint16_t* line, const uint16_t* green,
                               const int32_t* const* differences, uint16_t* out, size_t pixels,
                               uint16_t largest) {
        constexpr ptrdiff_t kNext = kChromaFirst ? 1 : -1;
        for_each_block<V>(pixels, [&](size_t x) {
            const auto difference = [&](size_t i, ptrdiff_t pairs) {
                return load_vector<V, Dwords<V>>(differences[i] + x / 2 + pairs);
            };
            const auto beside = [&](ptrdiff_t pairs) {
                return difference(0, pairs) + difference(2, pairs);
            };
            const auto corrected = [&](PlacesOfPairs greens, Dwords<V> mean) {
                return (PlacesOfPairs)clamped((Dwords<V>)greens + mean, largest);
            };
            const Words<V> greens = load(green + x);
            const PlacesOfPairs at_chroma = places<kChroma>(greens);
            const PlacesOfPairs at_green = places<kGreen>(greens);
            const Dwords<V> above_below = beside(0), corners = above_below + beside(-kNext);
            const auto own = corrected(at_green, (difference(1, 0) + difference(1, kNext)) >> 1);
            store_sites(out + 3 * x, load(line + x), words_of(at_chroma, own),
                        words_of(corrected(at_chroma, corners >> 2),
                                 corrected(at_green, above_below >> 1)));
        });
    }

  private:
    static Dwords<V> absolute(Dwords<V> a) { return a < 0 ? -a : a; }
    static Dwords<V> clamped(Dwords<V> a, int32_t largest) {
        a = a > 0 ? a : Dwords<V>{};
        const Dwords<V> limit = Dwords<V>{} + largest;
        return a < limit ? a : limit;
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
    using Rows = Demosaic16Rows<V, kChromaFirst, kOwnFirst>;
    constexpr size_t kBlock = Rows::kBlock;
    const auto odd_block = [&](size_t x) {
        Demosaic16Rows<V, !kChromaFirst, kOwnFirst>::template bilinear_block<kUpTo14>(
            above + x, line + x, below + x, out + 3 * x);
    };
    size_t x = 0;
    if constexpr (WholeVector<V>)
        x = Rows::template bilinear_run<
            std::conditional_t<kUpTo14, typename Rows::WordColumn, typename Rows::DwordColumn>>(
            above, line, below, out, width, width_out == width);
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
