// What is done to samples once they are unpacked, the plain definition.
#pragma once

#include "layouts/kernels.h"

#include <algorithm>
#include <cstring>

namespace frames {

/// (sample - black) * scale in single precision, clamped and rounded to nearest.
inline void levels_plain(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                         const LevelRow& levels, int period) {
    for (std::size_t i = 0; i < count; ++i) {
        const float scale = levels.scale[i % static_cast<std::size_t>(period)];
        const float value = (static_cast<float>(source[i]) - levels.black) * scale;
        out[i] = static_cast<std::uint16_t>(
            static_cast<int>(std::clamp(value, 0.0F, levels.most) + 0.5F));
    }
}

/// (sample - black) * factor / 2^k with k bits in all moved down, clamped to 0..255 and rounded;
/// the product keeps its upper 16 bits.
inline std::uint8_t level8_plain(unsigned sample, const FixedLevels& levels, std::size_t channel) {
    const unsigned full = sample << levels.up;
    const unsigned above = full < levels.black ? 0 : full - levels.black;
    const unsigned product =
        (std::min<unsigned>(above, levels.most) << levels.more) * levels.factor[channel] >> 16;
    const unsigned half = 1U << levels.down >> 1;
    return static_cast<std::uint8_t>(std::min((product + half) >> levels.down, 255U));
}

/// The sample's bits, repeated until 16 bits are full: the largest sample becomes 65535.
inline std::uint16_t full_scale_plain(unsigned sample, int depth) {
    unsigned value = sample << (16 - depth);
    for (int filled = depth; filled < 16; filled *= 2) value |= value >> filled;
    return static_cast<std::uint16_t>(value);
}

inline void full_scale_row_plain(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                                 int depth) {
    for (std::size_t i = 0; i < count; ++i) out[i] = full_scale_plain(source[i], depth);
}

/// Y of 16..235 to 0..255, U and V of 16..240 to 0..255 about 128, both to nearest and clamped.
inline std::uint8_t full_range_luma(int y) {
    return static_cast<std::uint8_t>((std::clamp(y - 16, 0, 219) * 510 + 219) / 438);
}
inline std::uint8_t full_range_chroma(int c) {
    const int from_zero = std::clamp(c - 16, 0, 224);  // 112 is grey, where 127.5 stands for 128
    return static_cast<std::uint8_t>(std::min(from_zero + 1 + from_zero * 31 / 224, 255));
}

/// Bytes of a row of YUV: in which of them luma stands.
///
///   UYYVYY  U Y Y V Y Y     UYVY  U Y V Y     YUYV  Y U Y V     UYV  U Y V
inline bool is_luma(imgcnv_layout layout, std::size_t byte) {
    switch (layout) {
        case IMGCNV_LAYOUT_UYYVYY:
            return byte % 3 != 0;
        case IMGCNV_LAYOUT_UYVY:
            return byte % 2 == 1;
        case IMGCNV_LAYOUT_YUYV:
            return byte % 2 == 0;
        default:
            return byte % 3 == 1;
    }
}

inline void full_range_plain(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes,
                             imgcnv_layout layout) {
    for (std::size_t i = 0; i < bytes; ++i)
        out[i] = is_luma(layout, i) ? full_range_luma(source[i]) : full_range_chroma(source[i]);
}

inline void opaque_plain(const std::uint8_t* source, std::uint8_t* out, std::size_t pixels,
                         bool /*streams*/) {
    for (std::size_t i = 0; i < 4 * pixels; ++i) out[i] = i % 4 == 3 ? 255 : source[i];
}

inline void drop_alpha8_plain(const std::uint8_t* source, std::uint8_t* out, std::size_t pixels,
                              bool exchange) {
    for (std::size_t i = 0; i < pixels; ++i, source += 4, out += 3) {
        const std::uint8_t first = source[exchange ? 2 : 0], third = source[exchange ? 0 : 2];
        out[0] = first;
        out[1] = source[1];
        out[2] = third;
    }
}

inline void exchange16_plain(const std::uint16_t* source, std::uint16_t* out, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, source += 3, out += 3) {
        const std::uint16_t first = source[2], third = source[0];
        out[0] = first;
        out[1] = source[1];
        out[2] = third;
    }
}

}  // namespace frames
