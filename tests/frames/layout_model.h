// Where the bits of samples lie, bit by bit: what the engine's layouts are compared with.
#pragma once

#include "layouts/sample_layout.h"

#include <cstdint>
#include <vector>

namespace frames::testing {

/// Bit `bit` of sample i, as a bit of the source: bit 0 is the lowest of byte 0.
inline std::size_t place_of(const SampleLayout& layout, std::size_t i, std::size_t bit) {
    const auto depth = static_cast<std::size_t>(layout.depth), low = depth - 8;
    switch (layout.layout) {
        case IMGCNV_LAYOUT_LSB_FIRST:
            return i * depth + bit;
        case IMGCNV_LAYOUT_BYTES:
            return i * 8 + bit;
        case IMGCNV_LAYOUT_WORDS:
            return i * 16 + (layout.big_endian ? (bit + 8) % 16 : bit);
        case IMGCNV_LAYOUT_PACKED:
            return i / 2 * 24 + (bit < low ? 8 + i % 2 * 4 + bit : i % 2 * 16 + bit - low);
        default: {
            const std::size_t pixels = depth == 12 ? 2 : 4, in_group = i % pixels;
            return i / pixels * pixels * depth +
                   (bit < low ? pixels * 8 + in_group * low + bit : in_group * 8 + bit - low);
        }
    }
}

/// Bytes up to the last that holds a bit of `count` samples.
inline std::size_t model_bytes(const SampleLayout& layout, std::size_t count) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t bit = 0; bit < static_cast<std::size_t>(layout.depth); ++bit)
            bytes = std::max(bytes, place_of(layout, i, bit) / 8 + 1);
    // Words are whole ones.
    return layout.layout == IMGCNV_LAYOUT_WORDS ? 2 * count : bytes;
}

inline unsigned model_sample(const SampleLayout& layout, const std::uint8_t* bytes, std::size_t i) {
    unsigned sample = 0;
    for (std::size_t bit = 0; bit < static_cast<std::size_t>(layout.depth); ++bit) {
        const std::size_t place = place_of(layout, i, bit);
        sample |= (bytes[place / 8] >> place % 8 & 1U) << bit;
    }
    return sample;
}

inline void put_model_sample(const SampleLayout& layout, std::uint8_t* bytes, std::size_t i,
                             unsigned sample) {
    for (std::size_t bit = 0; bit < static_cast<std::size_t>(layout.depth); ++bit) {
        const std::size_t place = place_of(layout, i, bit);
        bytes[place / 8] |= static_cast<std::uint8_t>((sample >> bit & 1U) << place % 8);
    }
}

}  // namespace frames::testing
