// Flips, and rotation by 180 degrees, the vector kernels: pixels of rows, or rows, in reverse
// order.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "mono/mono_simd.h"
#include "simd/kernel_table.h"
#include "simd/row.h"

namespace imgcnv {

template <class V, size_t kPixelBytes>
struct Reversed : BodyOf<V> {
    static constexpr size_t kDstBytes = V::kBytes * kPixelBytes;

    static void block(const uint8_t* src, uint8_t* dst) {
        if constexpr (kPixelBytes == 1) {
            V::store(dst, V::reverse(V::load(src)));
        } else {
            V::reverse3(src, dst);
        }
    }
};

template <class V, size_t kPixelBytes>
inline void reverse_row(const uint8_t* src, uint8_t* dst, size_t pixels) {
    using Block = Reversed<V, kPixelBytes>;
    constexpr size_t kPixels = V::kBytes;
    if (pixels < kPixels) {
        for (size_t i = 0; i < pixels; ++i) {
            memcpy(dst + i * kPixelBytes, src + (pixels - 1 - i) * kPixelBytes, kPixelBytes);
        }
        return;
    }
    const size_t last = pixels - kPixels;
    size_t i = 0, step = aligned_step<Block>(dst, pixels);
    for (;;) {
        Block::block(src + (last - i) * kPixelBytes, dst + i * kPixelBytes);
        if (i == last) return;
        i = i + step < last ? i + step : last;
        step = kPixels;
        if constexpr (kPixelBytes == 3) continue;
        // Several loads, then as many stores: fewer loads wait for a store.
        constexpr size_t kBlocks = 4;
        for (; i + kBlocks * kPixels <= last; i += kBlocks * kPixels) {
            typename V::Reg blocks[kBlocks];
#pragma GCC unroll 4
            for (size_t k = 0; k < kBlocks; ++k) blocks[k] = V::load(src + last - i - k * kPixels);
#pragma GCC unroll 4
            for (size_t k = 0; k < kBlocks; ++k) {
                V::store(dst + i + k * kPixels, V::reverse(blocks[k]));
            }
        }
    }
}

// next: the distance in bytes from this row to what is read after it
template <class V, size_t kPixelBytes>
inline void stream_reversed_row(const uint8_t* src, uint8_t* dst, size_t pixels, ptrdiff_t next) {
    constexpr size_t kSpan = kCacheLine, kSpanBytes = kSpan * kPixelBytes;
    alignas(kCacheLine) uint8_t buffer[kSpanBytes];
    size_t i = bytes_before_line<V>(dst) * kInverseInLine<kPixelBytes> % kCacheLine;
    if (i > pixels) i = pixels;
    reverse_row<V, kPixelBytes>(src + (pixels - i) * kPixelBytes, dst, i);
    for (; i + kSpan <= pixels; i += kSpan) {
        const uint8_t* from = src + (pixels - i - kSpan) * kPixelBytes;
        for (size_t k = 0; k < kSpanBytes; k += kCacheLine) prefetch<V>(from + k, next);
        for (size_t k = 0; k < kSpan; k += V::kBytes) {
            Reversed<V, kPixelBytes>::block(from + (kSpan - V::kBytes - k) * kPixelBytes,
                                            buffer + k * kPixelBytes);
        }
        stream_lines<V, kSpanBytes>(dst + i * kPixelBytes, buffer);
    }
    reverse_row<V, kPixelBytes>(src, dst + i * kPixelBytes, pixels - i);
}

// The hardware prefetcher does not follow rows that are read backwards: it expects what lies behind
// the end of this row, not the end of the next one. Streaming therefore fetches the next row.
template <class V, size_t kPixelBytes>
__attribute__((flatten)) void flip_h(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const size_t bytes = source.width * kPixelBytes;
    constexpr ptrdiff_t kAhead = -2048;
    const ptrdiff_t next = source.height == 1 ? kAhead : static_cast<ptrdiff_t>(bytes);
    for (size_t y = 0; y < source.height; ++y, src += bytes, dst += bytes) {
        if constexpr (StreamingVector<V>) {
            stream_reversed_row<typename V::Cached, kPixelBytes>(src, dst, source.width, next);
        } else {
            reverse_row<V, kPixelBytes>(src, dst, source.width);
        }
    }
}

template <class V>
inline void stream_copied_row(const uint8_t* src, uint8_t* dst, size_t bytes, ptrdiff_t next) {
    size_t i = bytes_before_line<V>(dst);
    if (i > bytes) i = bytes;
    memcpy(dst, src, i);
    for (; i + kCacheLine <= bytes; i += kCacheLine) {
        prefetch<V>(src + i, next);
        stream_lines<V, kCacheLine>(dst + i, src + i);
    }
    memcpy(dst + i, src + i, bytes - i);
}

// The hardware prefetcher does not follow rows that are read from the last one up. Streaming
// therefore fetches the row above, line by line; whole rows at once gain less.
template <class V>
__attribute__((flatten)) void flip_v(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const size_t bytes = source.width;
    for (size_t left = source.height; left != 0; --left, dst += bytes) {
        const uint8_t* row = src + (left - 1) * bytes;
        if constexpr (StreamingVector<V>) {
            using Ordinary = typename V::Cached;
            stream_copied_row<Ordinary>(row, dst, bytes, -static_cast<ptrdiff_t>(bytes));
        } else {
            mono_row<V, kBytes, kGrey1>(row, dst, bytes);
        }
    }
}

}  // namespace imgcnv
