#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace frames {

/// A row of the one table of formats.
using Format = imgcnv_format_info;

std::span<const Format> formats();

/// Null when no format has this code.
const Format* format_of_code(std::uint32_t code);

/// The format with the layout and depth of `format` but another colour order; none: the grey one.
/// Null where there is no such.
const Format* with_order(const Format& format, imgcnv_bayer_order order);

inline bool is_mosaic(const Format& format) { return format.order != IMGCNV_ORDER_NONE; }
inline bool is_yuv(const Format& format) {
    return format.layout >= IMGCNV_LAYOUT_UYYVYY && format.layout <= IMGCNV_LAYOUT_UYV;
}
inline bool is_rgb(const Format& format) {
    return format.layout >= IMGCNV_LAYOUT_RGB && format.layout <= IMGCNV_LAYOUT_BGRA;
}
inline bool is_points(const Format& format) { return format.layout == IMGCNV_LAYOUT_POINTS; }
/// Samples are 16-bit words, whose bytes a frame may have either way round.
inline bool has_words(const Format& format) {
    return format.layout == IMGCNV_LAYOUT_WORDS || (is_rgb(format) && format.depth > 8);
}
/// Samples per pixel as they lie in the buffer: 1, 3 or 4; 0 where pixels share samples.
inline int channels(const Format& format) {
    if (!is_rgb(format)) return is_yuv(format) || is_points(format) ? 0 : 1;
    return format.layout >= IMGCNV_LAYOUT_RGBA ? 4 : 3;
}

}  // namespace frames
