// The loop and the tail of every vector kernel.
//
// A body converts one block:
//
//   kPixels           pixels of a block
//   kInputs, kOutputs number of streams
//   kSrcBytes         bytes a block of each input, without the halo
//   kDstBytes         bytes a block of each output
//   kHalo             bytes read on either side of an input block
//   kHaloFrom         if there: the inputs before this one have no halo
//   kCostly           if there and true: computing a block costs more than copying it
//   kTogether         if there: blocks of a turn of the loop, for bodies that
//                     compute so little that the loop itself counts
//   kGroup            blocks begin at multiples of so many pixels
//   streams(args...)  for run_row_of: the streams, made of a kernel's arguments
//   block(in, out)    in[kInputs], out[kOutputs]: pointers at the block
//
// Where writing a block takes much computing, too, a body has two halves instead
// of `block`, and the loop loads a block before it stores the one before: a chain
// of instructions as long as both leaves a CPU too few blocks to work on at a time.
//
//   Values            what load returns and store takes
//   Memory            what store keeps for the next block
//   load(in), store(out, values, memory)
//
//   Vector            the vector type it is written over
//   Over<W>           the same body over vectors W
//
// Full blocks go straight from and to the caller's buffers. What is left over is
// converted once more together with the pixels before it, as a block that ends
// where the row ends; rows shorter than a block go to narrower vectors, and in the
// end, or where the CPU can load and store parts of vectors at little cost, through
// block-sized buffers on the stack. Nothing outside the exact ranges is touched.
//
// Over PastCaches<V>, blocks are converted into a buffer of some cache lines, which are
// then stored past the caches, all bytes of a line at once. What lies before the first
// whole line, and what is left at the end, is copied as usual.
//
// Kernels are `flatten`: everything a block calls is inlined into its loop, or
// constants would be loaded anew for every block.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace imgcnv {

template <class Body>
struct Streams {
    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];
};

template <class Body>
constexpr size_t blocks_together() {
    if constexpr (requires { Body::kTogether; }) return Body::kTogether;
    return 1;
}

template <class Body>
concept InHalves = requires {
    typename Body::Values;
};

template <class Body>
constexpr bool is_costly() {
    if constexpr (requires { Body::kCostly; }) return Body::kCostly;
    return false;
}
// Whether the halves of two blocks gain by being mixed. With the narrowest vectors both do
// not fit into 16 registers. Measured on SSE4.1: grey from mosaics and RGB .91 to .97 of the
// time if they are not mixed, from YUV 1.09; on AVX2 and AVX-512 1.0 to 1.2.
template <class Body>
constexpr bool mixes_blocks() {
    return !Body::Vector::kNarrowest || is_costly<Body>();
}

// Where pixel number `pixel` is in a stream whose blocks have kBytes bytes. (Said in this way the
// compiler needs one instruction or none.)
template <class Body, size_t kBytes>
constexpr size_t byte_of(size_t pixel) {
    constexpr size_t kPixels = Body::kPixels;
    if constexpr (kBytes % kPixels == 0) {
        return pixel * (kBytes / kPixels);
    } else if constexpr (kPixels % kBytes == 0) {
        return pixel / (kPixels / kBytes);
    } else {
        return pixel * kBytes / kPixels;
    }
}
template <class Body>
constexpr size_t src_byte_of(size_t pixel) {
    return byte_of<Body, Body::kSrcBytes>(pixel);
}
template <class Body>
constexpr size_t dst_byte_of(size_t pixel) {
    return byte_of<Body, Body::kDstBytes>(pixel);
}

// The pointers of a block. The loops over the streams are told to unroll: only
// then do they stay in registers at -O2.
template <class Body>
struct Block {
    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];

    Block(const Streams<Body>& s, size_t pixel) {
#pragma GCC unroll 8
        for (size_t k = 0; k < Body::kInputs; ++k) {
            in[k] = s.in[k] + src_byte_of<Body>(pixel);
        }
#pragma GCC unroll 8
        for (size_t k = 0; k < Body::kOutputs; ++k) {
            out[k] = s.out[k] + dst_byte_of<Body>(pixel);
        }
    }
};

template <class Body>
inline void convert_block(const uint8_t* const* in, uint8_t* const* out) {
    if constexpr (InHalves<Body>) {
        typename Body::Memory memory;
        Body::store(out, Body::load(in), memory);
    } else {
        Body::block(in, out);
    }
}

template <class Body>
constexpr size_t halo_of(size_t input) {
    if constexpr (requires { Body::kHaloFrom; }) {
        if (input < Body::kHaloFrom) return 0;
    }
    return Body::kHalo;
}

template <class V>
constexpr size_t whole_vectors(size_t bytes) {
    return (bytes + V::kBytes - 1) / V::kBytes * V::kBytes;
}

template <class Body>
__attribute__((noinline, flatten)) void run_partial_block(Streams<Body> s, size_t pixel,
                                                          size_t pixels) {
    using V = typename Body::Vector;
    constexpr size_t kInput = whole_vectors<V>(Body::kSrcBytes + 2 * Body::kHalo);
    constexpr size_t kOutput = whole_vectors<V>(Body::kDstBytes);
    alignas(64) uint8_t in_copy[Body::kInputs][kInput];
    alignas(64) uint8_t out_copy[Body::kOutputs][kOutput];
    const size_t from = src_byte_of<Body>(pixel);
    const size_t to = dst_byte_of<Body>(pixel);
    // A last group may be cut short in pixels but not in bytes.
    const size_t src_bytes = (pixels * Body::kSrcBytes + Body::kPixels - 1) / Body::kPixels;
    const size_t dst_bytes = dst_byte_of<Body>(pixels);

    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kInputs; ++k) {
        const size_t halo = halo_of<Body>(k);
        // Cleared beyond that, so that no branch depends on what was there before.
        V::template copy_in<kInput>(in_copy[k], s.in[k] + from - halo, src_bytes + 2 * halo);
        in[k] = in_copy[k] + halo;
    }
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) out[k] = out_copy[k];
    convert_block<Body>(in, out);
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) {
        V::template copy_out<kOutput>(s.out[k] + to, out_copy[k], dst_bytes);
    }
}

template <class V, bool kNarrowest = V::kNarrowest>
struct FindNarrowest {
    using Type = V;
};
template <class V>
struct FindNarrowest<V, false> : FindNarrowest<typename V::Narrower> {};
template <class V>
using NarrowestOf = typename FindNarrowest<V>::Type;

// Whether a part of a block is better copied than given to narrower vectors. Measured
// with 8 pixels a row: .25 to .8 of the time; with 48, YUV .55 to .95, others 1.0 to 1.5.
// Blocks with a halo lose: what they load straddles what was copied.
template <class Body>
constexpr bool copying_pays(size_t pixels) {
    using V = typename Body::Vector;
    if (V::kNarrowest) return true;
    if (is_costly<Body>() && pixels > V::kBytes / 2) return true;
    return pixels < NarrowestOf<V>::kBytes;
}

template <class Body>
inline void run_row(Streams<Body> s, size_t pixels);

// The same streams for another body, from a pixel on.
template <class Other, class Body>
inline Streams<Other> streams_at(const Streams<Body>& s, size_t pixel) {
    Streams<Other> rest;
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kInputs; ++k) rest.in[k] = s.in[k] + src_byte_of<Body>(pixel);
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) rest.out[k] = s.out[k] + dst_byte_of<Body>(pixel);
    return rest;
}

// Vectors V for bodies whose rows are written past the caches.
template <class V>
struct PastCaches : V {
    using ThroughCaches = V;
};
template <class Body>
concept GoesPastCaches = requires {
    typename Body::Vector::ThroughCaches;
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

// Starts to load what lies `distance` bytes from p: never a fault, whatever that is.
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

template <class V, size_t kBytes>
inline void store_lines(uint8_t* dst, const uint8_t* src) {
    if (reinterpret_cast<uintptr_t>(dst) % kCacheLine != 0) {
        memcpy(dst, src, kBytes);
        return;
    }
#pragma GCC unroll 16
    for (size_t i = 0; i < kBytes; i += V::kBytes) {
        V::store_past_caches(dst + i, V::load(src + i));
    }
}

template <class Body>
inline void run_row_past_caches(Streams<Body> s, size_t pixels) {
    using V = typename Body::Vector::ThroughCaches;
    using Ordinary = typename Body::template Over<V>;
    // Whole lines, whatever a pixel's bytes.
    constexpr size_t kSpan = kCacheLine, kSpanBytes = dst_byte_of<Body>(kSpan);
    // CPUs do not always see the next lines of a source coming. Measured at 5120x3840:
    // YUV422 .6 of the time, YUV411, YUV444 .9; 512 and more bytes cost words 1.1.
    constexpr ptrdiff_t kAhead = 256;

    const size_t whole = pixels - pixels % Body::kGroup;
    size_t done = 0;
    if (whole >= kSpan) {
        alignas(kCacheLine) uint8_t buffers[Body::kOutputs][kSpanBytes];
        const size_t last = whole - kSpan;
        const size_t head = pixels_before_line<Body>(s.out[0]);
        for (size_t at = 0;;) {
            if constexpr (Body::kInputs == 1) {
                const uint8_t* in = Block<Body>(s, at).in[0];
                for (size_t k = 0; k < src_byte_of<Body>(kSpan); k += kCacheLine) {
                    prefetch<V>(in + k, kAhead);
                }
            }
#pragma GCC unroll 2
            for (size_t i = 0; i < kSpan; i += Body::kPixels) {
                Block<Body> block(s, at + i);
#pragma GCC unroll 8
                for (size_t k = 0; k < Body::kOutputs; ++k) {
                    block.out[k] = buffers[k] + dst_byte_of<Body>(i);
                }
                Ordinary::block(block.in, block.out);
            }
            const size_t end = at == last ? whole : at == 0 ? head : at + kSpan;
#pragma GCC unroll 8
            for (size_t k = 0; k < Body::kOutputs; ++k) {
                uint8_t* out = s.out[k] + dst_byte_of<Body>(done);
                if (at != 0 && at != last) {
                    store_lines<V, kSpanBytes>(out, buffers[k]);
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
    using Narrowest = typename Body::template Over<NarrowestOf<V>>;
    while (done != pixels) {
        const size_t rest = pixels - done;
        const size_t part = rest < Narrowest::kPixels ? rest : Narrowest::kPixels;
        run_partial_block(streams_at<Narrowest>(s, done), 0, part);
        done += part;
    }
}

// Whole blocks; the number of pixels done.
template <class Body>
inline size_t run_blocks(Streams<Body> s, size_t pixels) {
    // The block that ends at the end begins at a group like the others.
    const size_t whole = pixels - pixels % Body::kGroup;
    size_t done = 0;
    if (whole >= Body::kPixels) {
        // The last block overlaps the one before. One copy of the code serves all.
        const size_t last = whole - Body::kPixels;
        const auto after = [last](size_t i) {
            return i + Body::kPixels < last ? i + Body::kPixels : last;
        };
        size_t i = 0;
        if constexpr (InHalves<Body>) {
            typename Body::Memory memory;
            typename Body::Values values = Body::load(Block<Body>(s, i).in);
            while (i != last) {
                const size_t next = after(i);
                if constexpr (mixes_blocks<Body>()) {
                    const typename Body::Values coming = Body::load(Block<Body>(s, next).in);
                    Body::store(Block<Body>(s, i).out, values, memory);
                    values = coming;
                } else {
                    Body::store(Block<Body>(s, i).out, values, memory);
                    values = Body::load(Block<Body>(s, next).in);
                }
                i = next;
            }
            Body::store(Block<Body>(s, i).out, values, memory);
        } else {
            constexpr size_t kTogether = blocks_together<Body>();
            if constexpr (kTogether > 1) {
                for (; i + kTogether * Body::kPixels < whole; i += kTogether * Body::kPixels) {
#pragma GCC unroll 4
                    for (size_t k = 0; k < kTogether; ++k) {
                        const Block<Body> block(s, i + k * Body::kPixels);
                        Body::block(block.in, block.out);
                    }
                }
                if (i > last) i = last;
            }
            for (;; i = after(i)) {
                const Block<Body> block(s, i);
                Body::block(block.in, block.out);
                if (i == last) break;
            }
        }
        done = whole;
    }
    return done;
}

template <class Body>
inline void run_rest(Streams<Body> s, size_t done, size_t pixels) {
    using V = typename Body::Vector;
    if constexpr (V::kNarrowest || (V::kMasks && Body::kHalo == 0)) {
        if (copying_pays<Body>(pixels - done)) {
            return run_partial_block<Body>(s, done, pixels - done);
        }
    }
    if constexpr (!V::kNarrowest) {
        using Narrow = typename Body::template Over<typename V::Narrower>;
        run_row(streams_at<Narrow>(s, done), pixels - done);
    }
}

template <class Body>
inline void run_row(Streams<Body> s, size_t pixels) {
    if constexpr (GoesPastCaches<Body>) return run_row_past_caches<Body>(s, pixels);
    const size_t done = run_blocks<Body>(s, pixels);
    if (done != pixels) run_rest<Body>(s, done, pixels);
}

template <class Body, class... Args>
__attribute__((noinline, flatten)) void run_rest_apart(Args... args, size_t pixels) {
    const size_t whole = pixels - pixels % Body::kGroup;
    const size_t done = whole < Body::kPixels ? 0 : whole;
    if (done != pixels) run_rest<Body>(Body::streams(args...), done, pixels);
}

// run_row over Body::streams(args...), with what whole blocks leave over in a function of its
// own: in the common case the kernel then needs little of the stack. Measured with 64 columns:
// demosaicing .83 to .93 of the time, colours 1.0; bodies in halves, which call functions and
// so need the stack anyhow, 1.01 to 1.15.
template <class Body, class... Args>
inline void run_row_of(size_t pixels, Args... args) {
    if constexpr (InHalves<Body> || GoesPastCaches<Body>) {
        run_row<Body>(Body::streams(args...), pixels);
    } else {
        if (__builtin_expect(pixels < Body::kPixels, 0)) {
            return run_rest_apart<Body, Args...>(args..., pixels);
        }
        if (run_blocks<Body>(Body::streams(args...), pixels) != pixels) {
            run_rest_apart<Body, Args...>(args..., pixels);
        }
    }
}

}  // namespace imgcnv
