// How samples lie in bytes, the plain definition: the value of sample i, and its upper 8 bits.
//
//   LSB_FIRST  one stream of bits, sample i from bit i * depth on, its lowest bit first
//      4 bits  byte 0: p1 p0
//     10 bits  p0 7..0 | p1 5..0, p0 9..8 | p2 3..0, p1 9..6 | p3 1..0, p2 9..4 | p3 9..2
//     12 bits  p0 7..0 | p1 3..0, p0 11..8 | p1 11..4
//     14 bits  p0 7..0 | p1 1..0, p0 13..8 | p1 9..2 | p2 3..0, p1 13..10 | ... 7 bytes
//   BYTES      p0 | p1 | ...
//   WORDS      p0 low byte | p0 high byte | ...; big-endian: p0 high byte | p0 low byte | ...
//              the sample in the low bits; what stands above them does not count
//   PACKED     p0 high 8 | low bits of p1 from bit 4, of p0 from bit 0 | p1 high 8
//   MIPI
//     10 bits  p0 high 8 | p1 high 8 | p2 high 8 | p3 high 8 | low 2 bits: p3 p2 p1 p0
//     12 bits  p0 high 8 | p1 high 8 | low 4 bits: p1 p0
//     14 bits  p0 .. p3 high 8 | 24 bits, low byte first: low 6 bits of p0, p1, p2, p3 from bit 0
//
// RGB and its kin are BYTES or WORDS with 3 or 4 samples per pixel.
#pragma once

#include "layouts/sample_layout.h"
#include "layouts/samples_plain.h"

#include <cstddef>
#include <cstdint>

namespace frames {

/// `count` bits of a stream from bit `from` on.
inline unsigned stream_bits(const std::uint8_t* stream, std::size_t from, int count) {
    const std::uint8_t* byte = stream + from / 8;
    const int skipped = static_cast<int>(from % 8);
    unsigned value = static_cast<unsigned>(*byte) >> skipped;
    for (int have = 8 - skipped; have < count; have += 8)
        value |= static_cast<unsigned>(*++byte) << have;
    return value & ((1U << count) - 1);
}

inline std::uint16_t sample_plain(SampleLayout layout, const std::uint8_t* source, std::size_t i) {
    const int depth = layout.depth, low_depth = depth - 8;
    const auto with_low_bits = [&](unsigned high, unsigned low) {
        return static_cast<std::uint16_t>(high << low_depth | low);
    };
    switch (layout.layout) {
        case IMGCNV_LAYOUT_LSB_FIRST:
            return static_cast<std::uint16_t>(
                stream_bits(source, i * static_cast<std::size_t>(depth), depth));
        case IMGCNV_LAYOUT_BYTES:
            return source[i];
        case IMGCNV_LAYOUT_WORDS: {
            const unsigned first = source[2 * i], second = source[2 * i + 1];
            const unsigned word = layout.big_endian ? first << 8 | second : second << 8 | first;
            return static_cast<std::uint16_t>(word & ((1U << depth) - 1));
        }
        case IMGCNV_LAYOUT_PACKED: {
            const std::uint8_t* group = source + i / 2 * 3;
            return with_low_bits(group[i % 2 * 2], stream_bits(group + 1, i % 2 * 4, low_depth));
        }
        case IMGCNV_LAYOUT_MIPI: {
            const std::size_t pixels = depth == 12 ? 2 : 4, in_group = i % pixels;
            const std::uint8_t* group =
                source + i / pixels * pixels * static_cast<unsigned>(depth) / 8;
            const std::size_t from = in_group * static_cast<unsigned>(low_depth);
            return with_low_bits(group[in_group], stream_bits(group + pixels, from, low_depth));
        }
        default:
            return 0;
    }
}

/// The upper 8 bits. Samples of fewer bits are the upper ones of their byte and are not repeated in
/// the lower ones, as libimgcnv has it (0xF becomes 0xF0); those of a single bit are 0 and 255.
inline std::uint8_t upper_bits_plain(unsigned sample, int depth) {
    if (depth == 1) return sample == 0 ? 0 : 255;
    return static_cast<std::uint8_t>(depth < 8 ? sample << (8 - depth) : sample >> (depth - 8));
}

template <SampleLayout kLayout>
struct UnpackPlain {
    static void to8(const std::uint8_t* source, std::size_t, std::uint8_t* samples,
                    std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            samples[i] = upper_bits_plain(sample_plain(kLayout, source, i), kLayout.depth);
    }
    static void to16(const std::uint8_t* source, std::size_t, std::uint16_t* samples,
                     std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) samples[i] = sample_plain(kLayout, source, i);
    }
    static void to8_levels(const std::uint8_t* source, std::size_t, std::uint8_t* samples,
                           std::size_t count, const FixedLevels& levels, int period) {
        for (std::size_t i = 0; i < count; ++i)
            samples[i] = level8_plain(sample_plain(kLayout, source, i), levels,
                                      i % static_cast<std::size_t>(period));
    }
};

}  // namespace frames
