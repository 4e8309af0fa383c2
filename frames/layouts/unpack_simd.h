// How samples lie in bytes, the vector bodies; unpack_plain.h has the layouts.
//
// A lane takes the bytes of 8 samples. A shuffle brings the two bytes that a sample's bits lie in
// into its word, a multiplication by a power of two moves the bits to the top of the word, whatever
// their place was, and a shift to the right drops what stood below.
#pragma once

#include "layouts/kernels.h"
#include "layouts/sample_layout.h"
#include "layouts/vector_ops.h"

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

template <class V, SampleLayout kLayout>
struct Unpack {
    static constexpr bool kWords = kLayout.layout == IMGCNV_LAYOUT_WORDS;
    static constexpr bool kBytes = kLayout.layout == IMGCNV_LAYOUT_BYTES;
    static constexpr int kDepth = kLayout.depth;
    static constexpr size_t kLaneBytes = sample_bytes(kLayout, 8);

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
        if constexpr (!kLayout.big_endian) return (Words<V>)lanes;
        const Words<V> words = (Words<V>)lanes;
        return words << 8 | words >> 8;
    }

    static Words<V> samples(Bytes<V> lanes) {
        if constexpr (kWords) {
            return host_words(lanes) & static_cast<uint16_t>((1U << kDepth) - 1);
        } else if constexpr (kBytes) {
            return widen_bytes<V, 0>(lanes);
        } else if constexpr (kLayout.layout == IMGCNV_LAYOUT_LSB_FIRST && kDepth != 14) {
            return upper_at_top(lanes) >> (16 - kDepth);
        } else {
            return upper_part(lanes) >> (16 - kDepth) | lower_at_top(lanes) >> (24 - kDepth);
        }
    }
    /// The samples at the top of their words, with zeros below.
    static Words<V> samples_at_top(Bytes<V> lanes) {
        if constexpr (kWords) {
            return host_words(lanes) << (16 - kDepth);
        } else if constexpr (kBytes) {
            return widen_bytes_to_top<V>(lanes);
        } else if constexpr (kLayout.layout == IMGCNV_LAYOUT_LSB_FIRST && kDepth != 14) {
            return upper_at_top(lanes) & static_cast<uint16_t>(0x10000 - (0x10000 >> kDepth));
        } else {
            // Below the lower bits stands what a shift must drop.
            return upper_part(lanes) | lower_at_top(lanes) >> (24 - kDepth) << (16 - kDepth);
        }
    }
    static Words<V> upper_part(Bytes<V> lanes) {
        return kLayout.layout == IMGCNV_LAYOUT_LSB_FIRST ? upper_at_top(lanes) & uint16_t{0xFF00}
                                                         : upper_bytes(lanes);
    }
    /// The upper 8 bits in words.
    static Words<V> upper_8(Bytes<V> lanes) {
        if constexpr (kWords) {
            return host_words(lanes) >> (kDepth - 8) & uint16_t{0xFF};
        } else {
            return upper_at_top(lanes) >> 8;
        }
    }
    /// 16 samples of less than a byte. Both bytes of a word hold the byte that its two samples lie
    /// in, and are moved to the left, the lower one for itself, the upper one for itself.
    static Bytes<V> small_to_bytes(Bytes<V> lanes) {
        static constexpr LaneBytes kPicked = [] {
            LaneBytes bytes{};
            for (size_t i = 0; i < 16; ++i) bytes.at[i] = static_cast<uint8_t>(i * kDepth / 8);
            return bytes;
        }();
        static constexpr auto kFactors = [](size_t odd) {
            LaneWords factors{};
            for (size_t i = 0; i < 8; ++i)
                factors.at[i] =
                    static_cast<uint16_t>(1U << (8 - kDepth - (2 * i + odd) * kDepth % 8));
            return factors;
        };
        static constexpr LaneWords kEven = kFactors(0), kOdd = kFactors(1);
        constexpr unsigned kBits = 0x100 - (0x100 >> kDepth);
        const Words<V> pairs = (Words<V>)frames::shuffle<V>(lanes, kPicked);
        const Bytes<V> upper =
            (Bytes<V>)((pairs * words_in_lanes<V>(kEven) & static_cast<uint16_t>(kBits)) |
                       (pairs * words_in_lanes<V>(kOdd) & static_cast<uint16_t>(kBits << 8)));
        return kDepth == 1 ? (Bytes<V>)(upper != 0) : upper;
    }
    /// Two times 8 samples of each lane to 16 bytes.
    static Bytes<V> to_bytes(Bytes<V> first, Bytes<V> second) {
        if constexpr (kDepth < 8) {
            return small_to_bytes(first);
        } else if constexpr (kLayout.layout == IMGCNV_LAYOUT_PACKED ||
                             kLayout.layout == IMGCNV_LAYOUT_MIPI) {
            static constexpr LaneBytes kLow = upper_byte_indices(kLayout, 0);
            static constexpr LaneBytes kHigh = upper_byte_indices(kLayout, 8);
            return frames::shuffle<V>(first, kLow) | frames::shuffle<V>(second, kHigh);
        } else {
            return V::pack_words(upper_8(first), upper_8(second));
        }
    }
    struct To16 {
        static constexpr size_t kIn = V::kLanes * kLaneBytes, kOut = kVectorBytes<V>;
        static constexpr size_t kReads = kIn - kLaneBytes + 16, kWrites = kOut;
        static void block(const uint8_t* source, uint8_t* out) {
            store_vector<V>(out, samples(V::load_lanes(source, kLaneBytes)));
        }
    };
    struct To8 {
        static constexpr size_t kIn = V::kLanes * 2 * kLaneBytes, kOut = kVectorBytes<V>;
        static constexpr size_t kReads = kIn - kLaneBytes + 16, kWrites = kOut;
        static void block(const uint8_t* source, uint8_t* out) {
            store_vector<V>(out, to_bytes(V::load_lanes(source, 2 * kLaneBytes),
                                          V::load_lanes(source + kLaneBytes, 2 * kLaneBytes)));
        }
    };

    /// Blocks of one vector, or of three where three channels take turns.
    template <int kPeriod>
    struct To8Levels {
        static constexpr size_t kVectors = kPeriod == 3 ? 3 : 1;
        static constexpr size_t kIn = V::kLanes * 2 * kLaneBytes * kVectors;
        static constexpr size_t kOut = kVectorBytes<V> * kVectors;
        static constexpr size_t kReads = kIn - kLaneBytes + 16, kWrites = kOut;

        explicit To8Levels(const FixedLevels& levels)
            : black_(Words<V>{} + levels.black),
              most_(Words<V>{} + levels.most),
              half_(Words<V>{} + static_cast<uint16_t>(1U << levels.down >> 1)),
              more_(levels.more),
              down_(levels.down) {
            static_assert(sizeof levels == 16);
            static constexpr Repeated<V, 2> kFactors(
                [](size_t i, size_t byte) { return i % kPeriod * 2 + byte; });
            for (size_t i = 0; i < 2 * kVectors; ++i)
                factors_[i] = (Words<V>)V::shuffle(
                    V::broadcast(&levels), kFactors.at(i / 2 * kVectorBytes<V> + i % 2 * 8, 16));
        }
        void block(const uint8_t* source, uint8_t* out) const {
#pragma GCC unroll 3
            for (size_t i = 0; i < kVectors; ++i) {
                const auto first = samples_at_top(V::load_lanes(source, 2 * kLaneBytes));
                const auto second =
                    samples_at_top(V::load_lanes(source + kLaneBytes, 2 * kLaneBytes));
                store_vector<V>(out, V::pack_words(level(first, factors_[2 * i]),
                                                   level(second, factors_[2 * i + 1])));
                source += V::kLanes * 2 * kLaneBytes;
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

        Words<V> black_, most_, half_, factors_[2 * kVectors];
        int more_, down_;
    };

    static void to8_levels(const uint8_t* source, size_t readable, uint8_t* samples, size_t count,
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

    static void to8(const uint8_t* source, [[maybe_unused]] size_t readable, uint8_t* samples,
                    size_t count) {
        if constexpr (kBytes) {
            memcpy(samples, source, count);
        } else {
            run_blocks<V>(To8(), source, sample_bytes(kLayout, count), readable, samples, count);
        }
    }
    static void to16(const uint8_t* source, [[maybe_unused]] size_t readable, uint16_t* samples,
                     size_t count) {
        if constexpr (kWords && kDepth == 16 && !kLayout.big_endian) {
            memcpy(samples, source, 2 * count);
        } else {
            run_blocks<V>(To16(), source, sample_bytes(kLayout, count), readable,
                          reinterpret_cast<uint8_t*>(samples), 2 * count);
        }
    }
};

}  // namespace frames
