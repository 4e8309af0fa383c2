// The pixels of the border: all of a row along the edge of a frame, or the outermost ones.
#pragma once

#include <algorithm>

#include "bayer/bayer_frame.h"
#include "color/luma.h"

namespace imgcnv {

// Stores one pixel. own_byte: as BayerFrame::own_byte
template <size_t kBytes>
inline void store_pixel(uint8_t* dst, ptrdiff_t own_byte, int own, int green, int other) {
    if constexpr (kBytes == 1) {
        dst[0] = own_byte == 0 ? luma(own, green, other) : luma(other, green, own);
    } else {
        dst[own_byte] = static_cast<uint8_t>(own);
        dst[1] = static_cast<uint8_t>(green);
        dst[2 - own_byte] = static_cast<uint8_t>(other);
        if constexpr (kBytes == 4) dst[3] = 0;
    }
}

// Bytes per pixel of what a kernel makes of a border row: grey is made of three channels, once
// these are right.
template <size_t kBytes>
inline constexpr size_t kChannelBytes = kBytes == 1 ? 3 : kBytes;

// Puts every other sample of `pixels` into a channel of every other pixel of kBytes.
template <size_t kBytes>
inline void copy_channel(const uint8_t* samples, size_t pixels, uint8_t* channel) {
    for (size_t x = 0; x < pixels; x += 2) channel[x * kBytes] = samples[x];
}

// Converts `pixels` pixels of a row along the edge. All but some of their channels is what a kernel
// makes of the lines around: make(kernels, target, x, count, out) converts `count` pixels from x on
// to `target`, and rewrites the rest. If `keeps_alpha`, the picture's alpha bytes stay as they are.
template <size_t kBytes, class Make>
void convert_border_row(ColorTarget target, uint8_t* dst, size_t pixels, bool keeps_alpha,
                        Make make) {
    // What is rewritten ought to be in the caches, whatever the frame: these are the ordinary
    // kernels.
    const KernelTable& kernels = kernels_for_this_cpu();
    if (kBytes != 1 && !keeps_alpha) return make(kernels, target, size_t{0}, pixels, dst);
    constexpr size_t kMost = 256;
    uint8_t part[kMost * kChannelBytes<kBytes>];
    for (size_t x = 0; x < pixels; x += kMost) {
        const size_t count = std::min(kMost, pixels - x);
        make(kernels, kBytes == 1 ? kAbc : target, x, count, part);
        if constexpr (kBytes == 1) {
            kernels.color[kRgb8][target](part, dst + x, count);
        } else {
            for (size_t i = 0; i < count; ++i)
                std::copy_n(part + i * kBytes, 3, dst + (x + i) * kBytes);
        }
    }
}

}  // namespace imgcnv
