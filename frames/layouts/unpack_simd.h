// How samples lie in bytes, the vector bodies; unpack_plain.h has the layouts.
//
// A lane takes the bytes of 8 samples. A shuffle brings the two bytes that a sample's bits lie in
// into its word, a multiplication by a power of two moves the bits to the top of the word, whatever
// their place was, and a shift to the right drops what stood below.
#pragma once

#include "layouts/kernels.h"
#include "layouts/sample_layout.h"
#include "layouts/vector_ops.h"

#include <type_traits>

namespace frames {

/// Of each of 8 samples, the bytes of `bits` bits and the factor that moves them to the top.
struct Picked {
    LaneBytes bytes;
    LaneWords factors;
};

constexpr Picked pick_bits(const size_t (&from_bit)[8], size_t bits) {
    Picked picked{};
    for (size_t i = 0; i < 8; ++i) {
        const size_t byte = from_bit[i] / 8, shift = from_bit[i] % 8;
        picked.bytes.at[2 * i] = static_cast<uint8_t>(byte);
        picked.bytes.at[2 * i + 1] = shift + bits > 8 ? static_cast<uint8_t>(byte + 1) : kNoByte;
        picked.factors.at[i] = static_cast<uint16_t>(1U << (16 - bits - shift));
    }
    return picked;
}

/// Where the samples of a lane have bits: the first of `bits` bits each.
struct BitPlaces {
    size_t bits;
    size_t from[8];
};

/// All bits of a sample, or its upper 8 where those are apart or lie in three bytes.
constexpr BitPlaces upper_places(SampleLayout layout) {
    const auto depth = static_cast<size_t>(layout.depth);
    BitPlaces places{layout.layout == IMGCNV_LAYOUT_LSB_FIRST && depth != 14 ? depth : 8, {}};
    for (size_t i = 0; i < 8; ++i) {
        const size_t pixels = depth == 12 ? 2 : 4, group = i / pixels * pixels * depth;
        places.from[i] = layout.layout == IMGCNV_LAYOUT_LSB_FIRST ? (i + 1) * depth - places.bits
                         : layout.layout == IMGCNV_LAYOUT_PACKED  ? i / 2 * 24 + i % 2 * 16
                         : layout.layout == IMGCNV_LAYOUT_MIPI    ? group + i % pixels * 8
                                                                  : i * depth;
    }
    return places;
}
/// The other bits.
constexpr BitPlaces lower_places(SampleLayout layout) {
    const auto depth = static_cast<size_t>(layout.depth), bits = depth - 8;
    BitPlaces places{bits, {}};
    for (size_t i = 0; i < 8; ++i) {
        const size_t pixels = depth == 12 ? 2 : 4, group = i / pixels * pixels * depth;
        places.from[i] = layout.layout == IMGCNV_LAYOUT_LSB_FIRST ? i * depth
                         : layout.layout == IMGCNV_LAYOUT_PACKED
                             ? i / 2 * 24 + 8 + i % 2 * 4
                             : group + pixels * 8 + i % pixels * bits;
    }
    return places;
}

/// Upper bytes that are whole bytes of the source, as bytes at..at + 7 of a lane.
constexpr LaneBytes upper_byte_indices(SampleLayout layout, size_t at) {
    const BitPlaces places = upper_places(layout);
    LaneBytes indices{};
    for (size_t i = 0; i < 16; ++i)
        indices.at[i] = i / 8 == at / 8 ? static_cast<uint8_t>(places.from[i % 8] / 8) : kNoByte;
    return indices;
}

/// For each byte of a vector, the source's byte that goes there, and the first of the 8 bits that
/// it then takes from the 8 bytes that it is one of.
template <class V>
struct PickedBits {
    VectorBytes<V> bytes, first;
};

/// Words with samples at their top: the upper byte has a sample's upper bits, the lower byte the
/// others. Lane l has 8 samples from sample `first` + l * `step` on.
template <class V>
constexpr PickedBits<V> bits_of_words(SampleLayout layout, size_t first, size_t step) {
    const BitPlaces upper = upper_places(layout), lower = lower_places(layout);
    const auto depth = static_cast<size_t>(layout.depth);
    const size_t of_8 = sample_bytes(layout, 8);
    PickedBits<V> picked{};
    for (size_t i = 0; i < kVectorBytes<V>; ++i) {
        const size_t sample = first + i / 16 * step + i % 16 / 2, group = sample / 4 * of_8 / 2;
        const size_t bit = sample / 8 * 8 * of_8 - 8 * group +
                           (i % 2 != 0 ? upper.from[sample % 8] + upper.bits - 8
                                       : lower.from[sample % 8] + depth - 16);
        picked.bytes.at[i] = static_cast<uint8_t>(group + i % 8);
        picked.first.at[i] = static_cast<uint8_t>(bit % 64);
    }
    return picked;
}

/// Bytes of a block of kBytes bytes, two vectors at most. Indices of what is behind it give
/// anything.
template <class V, size_t kBytes>
inline Bytes<V> permute_block(const uint8_t* block, const VectorBytes<V>& block_indices) {
    constexpr size_t kVector = kVectorBytes<V>;
    const auto first = load_vector<V, Bytes<V>>(block);
    const auto indices = load_vector<V, Bytes<V>>(block_indices.at);
    if constexpr (kBytes <= kVector) return V::permute(first, indices);
    // The second vector ends with the block.
    return V::permute2(first, load_vector<V, Bytes<V>>(block + kBytes - kVector), indices);
}
template <class V, size_t kBytes>
constexpr VectorBytes<V> block_indices(VectorBytes<V> bytes) {
    constexpr size_t kVector = kVectorBytes<V>;
    for (uint8_t& byte : bytes.at)
        if (byte >= kVector) byte = static_cast<uint8_t>(byte + 2 * kVector - kBytes);
    return bytes;
}

/// Samples of less than a byte.
template <class V, size_t kDepth>
struct SmallSamples;

/// Of the source only a block's bytes are loaded: most of the 64-byte loads that begin a few bytes
/// apart would cross a cache line.
template <WholeVector V, size_t kDepth>
struct SmallSamples<V, kDepth> {
    static constexpr size_t kReadsTo16 = kVectorBytes<V> * kDepth / 16;
    static constexpr size_t kReadsTo8 = kVectorBytes<V> * kDepth / 8;

    static Words<V> words(const uint8_t* source) {
        if constexpr (kDepth == 1) {
            return V::load_bit_words(source);
        } else {
            const auto low_bits = (Words<V>)bits_of<2>(source);
            return low_bits & static_cast<uint16_t>((1U << kDepth) - 1);
        }
    }
    static Bytes<V> bytes_at_top(const uint8_t* source) {
        if constexpr (kDepth == 1) {
            return V::load_bits(source);
        } else {
            return bits_of<1>(source) & static_cast<uint8_t>(0x100 - (0x100 >> kDepth));
        }
    }

  private:
    /// Items of kItem bytes: bytes with samples at their top, words with samples at their bottom.
    template <size_t kItem>
    static Bytes<V> bits_of(const uint8_t* source) {
        static constexpr VectorBytes<V> kFirst = [] {
            VectorBytes<V> first{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i) {
                const size_t at = i % 8 / kItem * kDepth;
                first.at[i] = static_cast<uint8_t>(kItem == 1 ? (at + kDepth - 8) % 64 : at);
            }
            return first;
        }();
        return V::bits_from(V::template load_pieces<kDepth / kItem>(source),
                            load_vector<V, Bytes<V>>(kFirst.at));
    }
};

/// On levels with lanes all lanes get the same 16 bytes.
template <class V, size_t kDepth>
requires(!WholeVector<V>) struct SmallSamples<V, kDepth> {
    static constexpr size_t kReadsTo16 = 16, kReadsTo8 = 16;

    static Bytes<V> picked(const uint8_t* source, const VectorBytes<V>& indices) {
        return V::shuffle(V::broadcast(source), load_vector<V, Bytes<V>>(indices.at));
    }
    static Words<V> words(const uint8_t* source) {
        static constexpr VectorBytes<V> kIndices = [] {
            VectorBytes<V> indices{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i)
                indices.at[i] = static_cast<uint8_t>(i % 2 == 0 ? i / 2 * kDepth / 8 : kNoByte);
            return indices;
        }();
        static constexpr LaneWords kFactors = [] {
            LaneWords factors{};
            for (size_t i = 0; i < 8; ++i)
                factors.at[i] = static_cast<uint16_t>(1U << (16 - kDepth - i * kDepth % 8));
            return factors;
        }();
        return (Words<V>)picked(source, kIndices) * words_in_lanes<V>(kFactors) >> (16 - kDepth);
    }
    /// Each byte gets the one that its sample lies in. Of a word, only its two samples are left;
    /// multiplied, they stand at the tops of its bytes, where nothing was added to them.
    static Bytes<V> bytes_at_top(const uint8_t* source) {
        static constexpr VectorBytes<V> kIndices = [] {
            VectorBytes<V> indices{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i)
                indices.at[i] = static_cast<uint8_t>(i * kDepth / 8);
            return indices;
        }();
        const auto bytes = picked(source, kIndices);
        if constexpr (kDepth == 1) {
            static constexpr LaneBytes kBits = {
                {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128}};
            const Bytes<V> bits = V::broadcast(kBits.at);
            return (Bytes<V>)((bytes & bits) == bits);
        } else {
            constexpr bool kIs2 = kDepth == 2;
            static constexpr LaneWords kKept =
                two_words(kIs2 ? 0x000F : 0xF00F, kIs2 ? 0x00F0 : 0xF00F);
            static constexpr LaneWords kFactors = two_words(kIs2 ? 1 << 6 | 1 << 12 : 1 << 4 | 1,
                                                            kIs2 ? 1 << 2 | 1 << 8 : 1 << 4 | 1);
            return (Bytes<V>)(((Words<V>)bytes & words_in_lanes<V>(kKept)) *
                              words_in_lanes<V>(kFactors)) &
                   static_cast<uint8_t>(0x100 - (0x100 >> kDepth));
        }
    }

  private:
    static constexpr LaneWords two_words(uint16_t even, uint16_t odd) {
        return {{even, odd, even, odd, even, odd, even, odd}};
    }
};

/// A block is as many samples as a vector has bytes; its halves are made apart as words and packed.
/// The first half has the first 8 of every 16 samples, or of whole vectors of words the first ones.
template <class V, SampleLayout kLayout>
struct Unpack {
    static constexpr bool kWords = kLayout.layout == IMGCNV_LAYOUT_WORDS;
    static constexpr bool kBytes = kLayout.layout == IMGCNV_LAYOUT_BYTES;
    static constexpr bool kIsWhole = WholeVector<V>;
    // Other layouts are words of lanes as soon as words in order.
    static constexpr bool kHalvesFollow = kIsWhole && kWords;
    static constexpr bool kIsOneNumber = kLayout.layout == IMGCNV_LAYOUT_LSB_FIRST;
    static constexpr int kDepth = kLayout.depth;
    static constexpr size_t kLaneBytes = sample_bytes(kLayout, 8);
    static constexpr size_t kHalfBytes = V::kLanes * kLaneBytes;
    static constexpr size_t kBlockBytes = 2 * kHalfBytes;
    static constexpr size_t kHalfReads = kIsWhole ? kVectorBytes<V> : kHalfBytes - kLaneBytes + 16;

    /// Words with the sample's upper bits at their top. Below them is anything.
    static Words<V> upper_at_top(Bytes<V> lanes) {
        static constexpr BitPlaces kPlaces = upper_places(kLayout);
        static constexpr Picked kPicked = pick_bits(kPlaces.from, kPlaces.bits);
        return (Words<V>)frames::shuffle<V>(lanes, kPicked.bytes) *
               words_in_lanes<V>(kPicked.factors);
    }
    /// Upper bytes that are whole bytes of the source, at the top of words of which the rest is 0.
    static Words<V> upper_bytes(Bytes<V> lanes) {
        static constexpr LaneBytes kIndices = [] {
            const BitPlaces places = upper_places(kLayout);
            LaneBytes indices{};
            for (size_t i = 0; i < 8; ++i) {
                indices.at[2 * i] = kNoByte;
                indices.at[2 * i + 1] = static_cast<uint8_t>(places.from[i] / 8);
            }
            return indices;
        }();
        return (Words<V>)frames::shuffle<V>(lanes, kIndices);
    }
    static Words<V> lower_at_top(Bytes<V> lanes) {
        static constexpr BitPlaces kPlaces = lower_places(kLayout);
        static constexpr Picked kPicked = pick_bits(kPlaces.from, kPlaces.bits);
        return (Words<V>)frames::shuffle<V>(lanes, kPicked.bytes) *
               words_in_lanes<V>(kPicked.factors);
    }
    static Words<V> host_words(Bytes<V> lanes) {
        static constexpr LaneBytes kExchange = {
            {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14}};
        return (Words<V>)(kLayout.big_endian ? frames::shuffle<V>(lanes, kExchange) : lanes);
    }

    /// Samples at the top of words. Below them is anything.
    static Words<V> at_top(Bytes<V> lanes) {
        if constexpr (kWords) {
            return host_words(lanes) << (16 - kDepth);
        } else if constexpr (kIsWhole) {
            static constexpr PickedBits<V> kPicked = bits_of_words<V>(kLayout, 0, 8);
            return (Words<V>)V::bits_from(
                V::permute(lanes, load_vector<V, Bytes<V>>(kPicked.bytes.at)),
                load_vector<V, Bytes<V>>(kPicked.first.at));
        } else if constexpr (kIsOneNumber && kDepth != 14) {
            return upper_at_top(lanes);
        } else {
            return upper_part(lanes) | lower_at_top(lanes) >> 8;
        }
    }
    static Words<V> upper_part(Bytes<V> lanes) {
        return kIsOneNumber ? upper_at_top(lanes) & uint16_t{0xFF00} : upper_bytes(lanes);
    }
    static Words<V> samples(Bytes<V> lanes) {
        if constexpr (kWords) {
            return host_words(lanes) & static_cast<uint16_t>((1U << kDepth) - 1);
        } else {
            return at_top(lanes) >> (16 - kDepth);
        }
    }
    /// Words of at_top(), with zeros below the samples.
    static Words<V> only_at_top(Words<V> words) {
        return kWords ? words : words & static_cast<uint16_t>(0x10000 - (0x10000 >> kDepth));
    }

    template <size_t kHalf>
    static Bytes<V> load_half(const uint8_t* block) {
        if constexpr (kIsWhole) return load_vector<V, Bytes<V>>(block + kHalf * kHalfBytes);
        return V::load_lanes(block + kHalf * kLaneBytes, 2 * kLaneBytes);
    }
    /// Words of a half, with samples at their top and zeros below.
    template <size_t kHalf>
    static Words<V> half_at_top(const uint8_t* block) {
        if constexpr (kBytes) {
            static constexpr LaneBytes kUpper = [] {
                LaneBytes indices{};
                for (size_t i = 0; i < 16; ++i)
                    indices.at[i] = static_cast<uint8_t>(i % 2 == 0 ? kNoByte : 8 * kHalf + i / 2);
                return indices;
            }();
            return (Words<V>)frames::shuffle<V>(load_vector<V, Bytes<V>>(block), kUpper);
        } else if constexpr (kIsWhole && !kWords) {
            static constexpr PickedBits<V> kPicked = bits_of_words<V>(kLayout, 8 * kHalf, 16);
            static constexpr auto kIndices = block_indices<V, kBlockBytes>(kPicked.bytes);
            const auto bytes = permute_block<V, kBlockBytes>(block, kIndices);
            const auto first = load_vector<V, Bytes<V>>(kPicked.first.at);
            return only_at_top((Words<V>)V::bits_from(bytes, first));
        } else {
            return only_at_top(at_top(load_half<kHalf>(block)));
        }
    }
    /// Both halves' words of at most 32767, clamped to 255.
    static Bytes<V> pack_halves(Words<V> first, Words<V> second) {
        const Bytes<V> lanes = V::pack_words(first, second);
        if constexpr (kHalvesFollow) {
            static constexpr VectorBytes<V> kInOrder = [] {
                VectorBytes<V> indices{};
                for (size_t i = 0; i < kVectorBytes<V>; ++i)
                    indices.at[i % 16 / 8 * kVectorBytes<V> / 2 + i / 16 * 8 + i % 8] =
                        static_cast<uint8_t>(i);
                return indices;
            }();
            return V::permute(lanes, load_vector<V, Bytes<V>>(kInOrder.at));
        }
        return lanes;
    }

    /// The upper 8 bits of a block.
    static Bytes<V> upper_8(const uint8_t* block) {
        if constexpr (kDepth < 8) {
            return SmallSamples<V, kDepth>::bytes_at_top(block);
        } else if constexpr (kBytes) {
            return load_vector<V, Bytes<V>>(block);
        } else if constexpr (kIsWhole && !kWords && !kIsOneNumber) {
            static constexpr auto kUpper = block_indices<V, kBlockBytes>([] {
                VectorBytes<V> indices{};
                for (size_t i = 0; i < kVectorBytes<V>; ++i) {
                    const size_t lane = i / 8 * kLaneBytes;
                    indices.at[i] =
                        static_cast<uint8_t>(lane + upper_places(kLayout).from[i % 8] / 8);
                }
                return indices;
            }());
            return permute_block<V, kBlockBytes>(block, kUpper);
        } else if constexpr (kIsWhole) {
            static constexpr VectorBytes<V> kOdd = [] {
                VectorBytes<V> indices{};
                for (size_t i = 0; i < kVectorBytes<V>; ++i)
                    indices.at[i] = static_cast<uint8_t>(2 * i + 1);
                return indices;
            }();
            return V::permute2((Bytes<V>)at_top(load_half<0>(block)),
                               (Bytes<V>)at_top(load_half<1>(block)),
                               load_vector<V, Bytes<V>>(kOdd.at));
        } else if constexpr (kWords) {
            const auto upper = [](Bytes<V> half) {
                return host_words(half) >> (kDepth - 8) & uint16_t{0xFF};
            };
            return V::pack_words(upper(load_half<0>(block)), upper(load_half<1>(block)));
        } else if constexpr (kIsOneNumber) {
            return V::pack_words(upper_at_top(load_half<0>(block)) >> 8,
                                 upper_at_top(load_half<1>(block)) >> 8);
        } else {
            static constexpr LaneBytes kLow = upper_byte_indices(kLayout, 0);
            static constexpr LaneBytes kHigh = upper_byte_indices(kLayout, 8);
            return frames::shuffle<V>(load_half<0>(block), kLow) |
                   frames::shuffle<V>(load_half<1>(block), kHigh);
        }
    }

    struct To16 {
        static constexpr size_t kIn = kHalfBytes, kOut = kVectorBytes<V>, kWrites = kOut;
        static constexpr size_t kReads = [] {
            if constexpr (kDepth < 8) return SmallSamples<V, kDepth>::kReadsTo16;
            return kBytes && !kIsWhole ? 16 : kHalfReads;
        }();
        static void block(const uint8_t* source, uint8_t* out) {
            if constexpr (kBytes)
                store_vector<V>(out, load_widened<V>(source));
            else if constexpr (kDepth < 8)
                store_vector<V>(out, SmallSamples<V, kDepth>::words(source));
            else if constexpr (kWords || kIsWhole)
                store_vector<V>(out, samples(load_vector<V, Bytes<V>>(source)));
            else
                store_vector<V>(out, samples(V::load_lanes(source, kLaneBytes)));
        }
    };
    struct To8 {
        static constexpr size_t kIn = kBlockBytes, kOut = kVectorBytes<V>, kWrites = kOut;
        static constexpr size_t kReads = [] {
            if constexpr (kDepth < 8) return SmallSamples<V, kDepth>::kReadsTo8;
            return kBytes ? kVectorBytes<V> : kHalfBytes + kHalfReads;
        }();
        static void block(const uint8_t* source, uint8_t* out) {
            store_vector<V>(out, upper_8(source));
        }
    };
    /// Blocks of one vector, or of three where three channels take turns.
    template <int kPeriod>
    struct To8Levels {
        static constexpr size_t kVectors = kPeriod == 3 ? 3 : 1;
        static constexpr size_t kIn = kBlockBytes * kVectors;
        static constexpr size_t kOut = kVectorBytes<V> * kVectors;
        static constexpr size_t kReads = !kIsWhole && !kBytes    ? kIn - kHalfBytes + kHalfReads
                                         : kIn < kVectorBytes<V> ? kVectorBytes<V>
                                                                 : kIn;
        static constexpr size_t kWrites = kOut;

        explicit To8Levels(const FixedLevels& levels)
            : black_(Words<V>{} + levels.black),
              most_(Words<V>{} + levels.most),
              half_(Words<V>{} + static_cast<uint16_t>(1U << levels.down >> 1)),
              more_(levels.more),
              down_(Count{} + levels.down) {
            static_assert(sizeof levels == 16);
            const Bytes<V> all = V::broadcast(&levels);
            if constexpr (kPeriod == 3) {
                static constexpr Repeated<V, 2> kFactors(
                    [](size_t i, size_t byte) { return i % 3 * 2 + byte; });
                constexpr size_t kSecond = kHalvesFollow ? kVectorBytes<V> / 2 : 8;
                for (size_t i = 0; i < 6; ++i)
                    factors_[i] = (Words<V>)V::shuffle(
                        all, kFactors.at(i / 2 * kVectorBytes<V> + i % 2 * kSecond,
                                         kHalvesFollow ? 8 : 16));
            } else {
                static constexpr LaneBytes kFactors = [] {
                    LaneBytes indices{};
                    for (size_t i = 0; i < 16; ++i)
                        indices.at[i] = static_cast<uint8_t>(i % (2 * kPeriod));
                    return indices;
                }();
                factors_[0] = (Words<V>)frames::shuffle<V>(all, kFactors);
            }
        }
        void block(const uint8_t* source, uint8_t* out) const {
#pragma GCC unroll 3
            for (size_t i = 0; i < kVectors; ++i) {
                store_vector<V>(out,
                                pack_halves(level(half_at_top<0>(source), factors(2 * i)),
                                            level(half_at_top<1>(source), factors(2 * i + 1))));
                source += kBlockBytes;
                out += kVectorBytes<V>;
            }
        }

      private:
        /// Packing clamps to 255.
        Words<V> level(Words<V> samples, Words<V> factors) const {
            Words<V> above = V::subtract(samples, black_);
            if (more_ != 0) above = V::smaller(above, most_) << more_;
            return (V::multiply_high(above, factors) + half_) >> down_;
        }

        /// Of the half `i` of the block's vectors.
        Words<V> factors(size_t i) const { return factors_[kPeriod == 3 ? i : 0]; }

        // AVX-512 shifts words sooner by counts of their own than by one for all: that takes the
        // pipes of the products.
        using Count = std::conditional_t<kIsWhole, Words<V>, int>;

        Words<V> black_, most_, half_, factors_[kPeriod == 3 ? 6 : 1];
        int more_;
        Count down_;
    };

    [[gnu::flatten]] static void to8_levels(const uint8_t* source, size_t readable,
                                            uint8_t* samples, size_t count,
                                            const FixedLevels& levels, int period) {
        const size_t bytes = sample_bytes(kLayout, count);
        if constexpr (kWords || kBytes) {
            if (period == 3) {
                run_blocks<V>(To8Levels<3>(levels), source, bytes, readable, samples, count);
                return;
            }
        }
        if (period == 2)
            run_blocks<V>(To8Levels<2>(levels), source, bytes, readable, samples, count);
        else
            run_blocks<V>(To8Levels<1>(levels), source, bytes, readable, samples, count);
    }

    static void to8(const uint8_t* source, size_t readable, uint8_t* samples, size_t count) {
        run_blocks<V>(To8(), source, sample_bytes(kLayout, count), readable, samples, count);
    }
    static void to16(const uint8_t* source, size_t readable, uint16_t* samples, size_t count) {
        run_blocks<V>(To16(), source, sample_bytes(kLayout, count), readable,
                      reinterpret_cast<uint8_t*>(samples), 2 * count);
    }
};

}  // namespace frames
