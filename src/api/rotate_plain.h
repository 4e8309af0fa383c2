// Flips and rotations, the plain definition. A pixel's kBytes bytes move
// together.
#pragma once

#include <cstring>

#include "simd/kernel_table.h"

namespace imgcnv {

template <size_t kBytes>
void flip_h_plain(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const size_t w = source.width;
    for (size_t y = 0; y < source.height; ++y) {
        for (size_t x = 0; x < w; ++x) {
            std::memcpy(dst + (y * w + x) * kBytes, src + (y * w + w - 1 - x) * kBytes, kBytes);
        }
    }
}

inline void flip_v_plain(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const size_t bytes = source.width;
    for (size_t y = 0; y < source.height; ++y) {
        std::memcpy(dst + y * bytes, src + (source.height - 1 - y) * bytes, bytes);
    }
}

// Clockwise the source's first row becomes the last column. Counter-clockwise it becomes the first
// one, its last pixel on top.
template <size_t kBytes, bool kClockwise>
void rotate_plain(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const size_t w = source.width, h = source.height;
    for (size_t y = 0; y < h; ++y) {
        for (size_t x = 0; x < w; ++x) {
            const size_t to = kClockwise ? x * h + (h - 1 - y) : (w - 1 - x) * h + y;
            std::memcpy(dst + to * kBytes, src + (y * w + x) * kBytes, kBytes);
        }
    }
}

}  // namespace imgcnv
