// The inverse of unpack_plain.h, which has the layouts: puts sample i into bytes that were 0.
#pragma once

#include "layouts/sample_layout.h"

#include <cstdint>

namespace frames {

/// `count` bits of a stream from bit `from` on.
inline void put_stream_bits(std::uint8_t* stream, std::size_t from, int count, unsigned value) {
    std::uint8_t* byte = stream + from / 8;
    *byte |= static_cast<std::uint8_t>(value << from % 8);
    for (int done = 8 - static_cast<int>(from % 8); done < count; done += 8)
        *++byte |= static_cast<std::uint8_t>(value >> done);
}

inline void put_sample_plain(SampleLayout layout, std::uint8_t* out, std::size_t i,
                             unsigned sample) {
    const int low_depth = layout.depth - 8;
    const auto put_high_and_low = [&](std::uint8_t* high, std::uint8_t* low, std::size_t from) {
        *high = static_cast<std::uint8_t>(sample >> low_depth);
        put_stream_bits(low, from, low_depth, sample & ((1U << low_depth) - 1));
    };
    switch (layout.layout) {
        case IMGCNV_LAYOUT_BYTES:
            out[i] = static_cast<std::uint8_t>(sample);
            break;
        case IMGCNV_LAYOUT_WORDS:
            out[2 * i + (layout.big_endian ? 1 : 0)] = static_cast<std::uint8_t>(sample);
            out[2 * i + (layout.big_endian ? 0 : 1)] = static_cast<std::uint8_t>(sample >> 8);
            break;
        case IMGCNV_LAYOUT_PACKED: {
            std::uint8_t* group = out + i / 2 * 3;
            put_high_and_low(group + i % 2 * 2, group + 1, i % 2 * 4);
            break;
        }
        case IMGCNV_LAYOUT_MIPI: {
            const std::size_t pixels = layout.depth == 12 ? 2 : 4, in_group = i % pixels;
            std::uint8_t* group = out + i / pixels * sample_bytes(layout, pixels);
            put_high_and_low(group + in_group, group + pixels,
                             in_group * static_cast<unsigned>(low_depth));
            break;
        }
        default:
            put_stream_bits(out, i * static_cast<std::size_t>(layout.depth), layout.depth, sample);
    }
}

}  // namespace frames
