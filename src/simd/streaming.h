// Rows written by non-temporal stores, which bypass the caches: for frames that the caches do
// not hold. They spare the reading of the lines that they overwrite.
//
// A cache line has to be stored whole and at once. Blocks are therefore converted into a buffer
// of whole lines first. What lies before the first whole line of the row and after the last one
// is stored as usual. Whoever streams a frame calls streaming_fence (simd/cpu.h) in the end.
#pragma once

#include "simd/body.h"

namespace imgcnv {

// Vectors V for bodies whose rows are streamed.
template <class V>
struct Streaming : V {
    using Cached = V;
};
template <class V>
concept StreamingVector = requires {
    typename V::Cached;
};

inline constexpr size_t kCacheLine = 64;

template <class V>
inline size_t bytes_before_line(const uint8_t* p) {
    return (kCacheLine - reinterpret_cast<uintptr_t>(p) % kCacheLine) % kCacheLine;
}
// 1 / kOdd modulo a line: how many pixels of kOdd bytes end at the line's end.
template <size_t kOdd>
inline constexpr size_t kInverseInLine = kOdd == 1 ? 1 : 43;
static_assert(3 * kInverseInLine<3> % kCacheLine == 1);

// Loads what lies `distance` bytes from p into the caches: never a fault, whatever lies there.
template <class V>
inline void prefetch(const uint8_t* p, ptrdiff_t distance) {
    __builtin_prefetch(reinterpret_cast<const uint8_t*>(reinterpret_cast<intptr_t>(p) + distance));
}

// How many pixels lie before the first of the output that begins a cache line, kGroup at
// least: callers may write the outermost pixels once more. A cache line's worth, if
// no group begins there.
template <class Body>
inline size_t pixels_before_line(const uint8_t* out) {
    constexpr size_t kGroupBytes = dst_byte_of<Body>(Body::kGroup);
    constexpr size_t kPower = kGroupBytes & -kGroupBytes, kOdd = kGroupBytes / kPower;
    const size_t missing = bytes_before_line<typename Body::Vector>(out);
    if (missing % kPower != 0) return kCacheLine;
    const size_t groups = missing / kPower * kInverseInLine<kOdd> % (kCacheLine / kPower);
    return (groups == 0 ? kCacheLine / kPower : groups) * Body::kGroup;
}

// How far after the first block of a row the second one begins: the blocks from there on are stored
// to whole vectors' places, where no store crosses a cache line. Short rows would lose more by the
// additional block, and so would what computes its pixels from several rows.
template <class Body>
inline size_t aligned_step(const uint8_t* out, size_t pixels) {
    constexpr size_t kBytes = dst_byte_of<Body>(1), kPeriod = Body::kPixels / (kBytes & -kBytes);
    constexpr bool kIsColor = Body::kInputs == 1 && kBytes > 1;
    constexpr size_t kLong = Body::kPixels < 64 || kIsColor ? 512 : 2048;
    if (pixels < kLong || Body::kHalo != 0) return Body::kPixels;
    const size_t step = pixels_before_line<Body>(out) % kPeriod;
    return step == 0 ? Body::kPixels : step;
}

template <class V, size_t kBytes>
inline void stream_lines(uint8_t* dst, const uint8_t* src) {
    if (reinterpret_cast<uintptr_t>(dst) % kCacheLine != 0) {
        memcpy(dst, src, kBytes);
        return;
    }
#pragma GCC unroll 16
    for (size_t i = 0; i < kBytes; i += V::kBytes) V::stream(dst + i, V::load(src + i));
}

// Converts kSpan pixels into the buffers.
template <class Body, size_t kSpan>
inline void convert_span(const RowPointers<Body>& row,
                         uint8_t (*buffers)[dst_byte_of<Body>(kSpan)]) {
    // The hardware prefetcher does not always follow a single source this fast.
    constexpr ptrdiff_t kAhead = 256;
    if constexpr (Body::kInputs == 1) {
        for (size_t k = 0; k < src_byte_of<Body>(kSpan); k += kCacheLine) {
            prefetch<typename Body::Vector>(row.in[0] + k, kAhead);
        }
    }
#pragma GCC unroll 2
    for (size_t i = 0; i < kSpan; i += Body::kPixels) {
        RowPointers<Body> block = pointers_at<Body>(row, i);
#pragma GCC unroll 8
        for (size_t k = 0; k < Body::kOutputs; ++k) {
            block.out[k] = buffers[k] + dst_byte_of<Body>(i);
        }
        Body::block(block.in, block.out);
    }
}

template <class Body>
inline void stream_row(RowPointers<Body> row, size_t pixels) {
    using V = typename Body::Vector;
    // Whole lines, whatever a pixel's bytes.
    constexpr size_t kSpan = kCacheLine, kSpanBytes = dst_byte_of<Body>(kSpan);

    const size_t whole = pixels - pixels % Body::kGroup;
    size_t done = 0;
    if (whole >= kSpan) {
        alignas(kCacheLine) uint8_t buffers[Body::kOutputs][kSpanBytes];
        const size_t last = whole - kSpan;
        const size_t head = pixels_before_line<Body>(row.out[0]);
        for (size_t at = 0;;) {
            convert_span<Body, kSpan>(pointers_at<Body>(row, at), buffers);
            const size_t end = at == last ? whole : at == 0 ? head : at + kSpan;
#pragma GCC unroll 8
            for (size_t k = 0; k < Body::kOutputs; ++k) {
                uint8_t* out = row.out[k] + dst_byte_of<Body>(done);
                if (at != 0 && at != last) {
                    stream_lines<V, kSpanBytes>(out, buffers[k]);
                } else {
                    memcpy(out, buffers[k] + dst_byte_of<Body>(done - at),
                           dst_byte_of<Body>(end - done));
                }
            }
            done = end;
            if (at == last) break;
            at = done < last ? done : last;
        }
    }
    using Narrowest = typename Body::template Rebind<typename V::Narrowest>;
    while (done != pixels) {
        const size_t rest = pixels - done;
        const size_t part = rest < Narrowest::kPixels ? rest : Narrowest::kPixels;
        run_partial_block(pointers_at<Narrowest>(row, done), part);
        done += part;
    }
}

}  // namespace imgcnv
