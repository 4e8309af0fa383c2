// Packed colour sources, the plain definition: the channels (R, G, B) of pixel i.
//
//   RGB8         R G B | R G B | ...        (or B G R: the target tells which)
//   YUV444       U Y V | ...                1 pixel, 3 bytes
//   YUV422 UYVY  U Y0 V Y1 | ...            2 pixels, 4 bytes
//   YUV422 YUYV  Y0 U Y1 V | ...            2 pixels, 4 bytes
//   YUV411       U Y0 Y1 V Y2 Y3 | ...      4 pixels, 6 bytes
//
// Every pixel of a group has the group's U and V; chroma is not interpolated.
#pragma once

#include "color/channels_plain.h"

namespace imgcnv {

inline uint8_t clamp_to_byte(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Full-range BT.601 in units of 1/256; the shifts round toward minus infinity
// (V = 127 takes 2 from red, not 1).
inline Channels rgb_of_yuv(int y, int u, int v) {
    const int red = y + ((359 * v - 359 * 128) >> 8);
    const int green = y - ((88 * u - 88 * 128) >> 8) - ((183 * v - 183 * 128) >> 8);
    const int blue = y + ((454 * u - 454 * 128) >> 8);
    return {clamp_to_byte(red), clamp_to_byte(green), clamp_to_byte(blue)};
}

template <ColorLayout kLayout>
inline Channels color_pixel(const uint8_t* src, size_t i) {
    if constexpr (kLayout == kRgb8) {
        const uint8_t* p = src + 3 * i;
        return {p[0], p[1], p[2]};
    } else if constexpr (kLayout == kYuv444) {
        const uint8_t* p = src + 3 * i;
        return rgb_of_yuv(p[1], p[0], p[2]);
    } else if constexpr (kLayout == kYuv422Uyvy) {
        const uint8_t* p = src + 4 * (i / 2);
        return rgb_of_yuv(p[1 + 2 * (i % 2)], p[0], p[2]);
    } else if constexpr (kLayout == kYuv422Yuyv) {
        const uint8_t* p = src + 4 * (i / 2);
        return rgb_of_yuv(p[2 * (i % 2)], p[1], p[3]);
    } else {
        constexpr int kLumaByte[4] = {1, 2, 4, 5};
        const uint8_t* p = src + 6 * (i / 4);
        return rgb_of_yuv(p[kLumaByte[i % 4]], p[0], p[3]);
    }
}

template <ColorLayout kLayout, ColorTarget kTarget>
void color_row_plain(const uint8_t* src, uint8_t* dst, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i)
        store_channels<kTarget>(dst, i, color_pixel<kLayout>(src, i));
}

}  // namespace imgcnv
