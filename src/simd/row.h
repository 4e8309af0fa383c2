// run_row: the one loop and the one tail of every vector kernel. See body.h for what a body is.
//
// Whole blocks go straight from and to the caller's buffers. What they leave over is converted
// once more together with the pixels before it, as a block that ends where the row ends. Rows
// shorter than a block go to the narrowest vectors, and rows shorter than a block of those through
// buffers on the stack. No byte outside the exact ranges is read or written.
//
// Kernels are `flatten`: all that a block calls is inlined into its loop, or constants would be
// loaded anew for every block.
#pragma once

#include "simd/body.h"
#include "simd/streaming.h"

namespace imgcnv {

// Whether it gains to load a block before the one before it is stored. With the narrowest
// vectors two blocks do not fit into 16 registers.
template <class Body>
inline constexpr bool kPipelined = !Body::Vector::kNarrowest || Body::kComputeBound;

// Converts whole blocks of `pixels` pixels, kPixels at least and a multiple of kGroup. The last
// block overlaps the one before it, and is converted by the same code as all others.
template <RowBody Body>
inline void run_blocks(const RowPointers<Body>& row, size_t pixels) {
    const auto convert_at = [&row](size_t pixel) {
        const RowPointers<Body> block = pointers_at<Body>(row, pixel);
        Body::block(block.in, block.out);
    };
    const size_t last = pixels - Body::kPixels, step = aligned_step<Body>(row.out[0], pixels);
    if (step != Body::kPixels) convert_at(0);
    size_t i = step != Body::kPixels ? step : 0;
    if constexpr (Body::kUnroll > 1) {
        for (; i + Body::kUnroll * Body::kPixels < pixels; i += Body::kUnroll * Body::kPixels) {
#pragma GCC unroll 4
            for (size_t k = 0; k < Body::kUnroll; ++k) convert_at(i + k * Body::kPixels);
        }
        if (i > last) i = last;
    }
    for (;; i = i + Body::kPixels < last ? i + Body::kPixels : last) {
        convert_at(i);
        if (i == last) return;
    }
}

template <PipelinedBody Body>
inline void run_blocks(const RowPointers<Body>& row, size_t pixels) {
    const auto at = [&row](size_t pixel) { return pointers_at<Body>(row, pixel); };
    const size_t last = pixels - Body::kPixels;
    // Far enough for a source from memory to arrive while so much is computed. (The narrowest
    // vectors compute long enough for the hardware prefetcher to follow.)
    constexpr ptrdiff_t kAhead = 1024;
    typename Body::Memory memory;
    typename Body::Loaded loaded = Body::load(at(0).in);
    size_t i = 0;
    while (i != last) {
        const size_t next = i + Body::kPixels < last ? i + Body::kPixels : last;
        if constexpr (Body::kInputs == 1 && !Body::Vector::kNarrowest) {
            for (size_t k = 0; k < Body::kSrcBytes; k += kCacheLine) {
                prefetch<typename Body::Vector>(at(next).in[0] + k, kAhead);
            }
        }
        if constexpr (kPipelined<Body>) {
            const typename Body::Loaded next_loaded = Body::load(at(next).in);
            Body::store(at(i).out, loaded, memory);
            loaded = next_loaded;
        } else {
            Body::store(at(i).out, loaded, memory);
            loaded = Body::load(at(next).in);
        }
        i = next;
    }
    Body::store(at(last).out, loaded, memory);
}

// Whether less than the narrowest block is converted by these vectors, because they load and store
// parts of a block. (What has a halo loses by it: its loads straddle what was copied. What computes
// much gains too little.)
template <class Body>
inline constexpr bool kByMasks = Body::Vector::kMasks&& Body::kHalo == 0 && !Body::kComputeBound;

// Converts the rows' first `pixels` pixels. Layouts with several pixels in a group take whole
// groups, or a last one of which only its first pixels are written.
template <RowBody Body>
inline void run_row(RowPointers<Body> row, size_t pixels) {
    using V = typename Body::Vector;
    if constexpr (StreamingVector<V>) {
        using Cached = typename Body::template Rebind<typename V::Cached>;
        stream_row(pointers_at<Cached>(row, 0), pixels);
    } else {
        // The block that ends at the end begins at a group like the others.
        const size_t whole = pixels - pixels % Body::kGroup;
        const size_t done = whole < Body::kPixels ? 0 : whole;
        if (done != 0) run_blocks<Body>(row, done);
        if (done == pixels) return;
        const size_t rest = pixels - done;
        if constexpr (!V::kNarrowest) {
            if (!kByMasks<Body> || rest >= V::Narrowest::kBytes) {
                using Narrow = typename Body::template Rebind<typename V::Narrowest>;
                return run_row(pointers_at<Narrow>(row, done), rest);
            }
        }
        if constexpr (V::kNarrowest || kByMasks<Body>) {
            run_partial_block(pointers_at<Body>(row, done), rest);
        }
    }
}

}  // namespace imgcnv
