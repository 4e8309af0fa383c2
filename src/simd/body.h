// What a row is converted by: bodies, and the pointers into a row that they are given.
//
// A body converts one block of pixels. It derives from BodyOf<V>, which lists what it has to
// say and the usual answers, and has
//
//   Rebind<W>       the same body over vectors W
//   kSrcBytes       bytes of a block in each input, without the halo
//   kDstBytes       bytes of a block in each output
//   block(in, out)  in[kInputs], out[kOutputs]: pointers at the block
//
// A block is loaded as a whole before its first byte is stored.
//
// Where storing a block takes much computing, too, a body may have `block` in two halves.
// run_row then loads the next block before it stores this one: load and store together are a
// chain of instructions too long for a CPU to start on the next block by itself.
//
//   Loaded                       what load returns and store takes
//   Memory                       what store keeps for the next block
//   load(in)
//   store(out, loaded, memory)
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace imgcnv {

template <class V>
struct BodyOf {
    using Vector = V;
    static constexpr size_t kPixels = V::kBytes;        // of a block
    static constexpr size_t kInputs = 1, kOutputs = 1;  // rows read and written at a time
    static constexpr size_t kHalo = 0;                  // bytes read on either side of a block
    static constexpr size_t kFirstHaloInput = 0;        // the inputs before it have no halo
    static constexpr size_t kGroup = 1;                 // blocks begin at multiples of it
    static constexpr size_t kUnroll = 1;                // blocks per iteration of the loop
    static constexpr bool kComputeBound = false;        // computing costs more than copying
};

template <class Body>
concept RowBody = requires(const uint8_t* const* in, uint8_t* const* out) {
    typename Body::Vector;
    typename Body::template Rebind<typename Body::Vector>;
    requires Body::kPixels % Body::kGroup == 0;
    requires Body::kSrcBytes >
    0 && Body::kDstBytes > 0;
    Body::block(in, out);
};

template <class Body>
concept PipelinedBody = RowBody<Body> &&
    requires(const uint8_t* const* in, uint8_t* const* out, typename Body::Memory& memory) {
    typename Body::Loaded;
    Body::store(out, Body::load(in), memory);
};

template <class Body>
struct RowPointers {
    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];
};

// Where pixel number `pixel` is in a row whose blocks of kPixels have kBytes bytes. (Written as
// a multiple or a fraction, so that it folds into an addressing mode or a shift.)
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

// The same rows from a pixel on, for this body or another one. (GCC keeps the pointers in
// registers at -O2 only where the loops are unrolled by request.)
template <class Other, class Body>
inline RowPointers<Other> pointers_at(const RowPointers<Body>& row, size_t pixel) {
    RowPointers<Other> at;
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kInputs; ++k) at.in[k] = row.in[k] + src_byte_of<Body>(pixel);
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) at.out[k] = row.out[k] + dst_byte_of<Body>(pixel);
    return at;
}

template <class V>
constexpr size_t whole_vectors(size_t bytes) {
    return (bytes + V::kBytes - 1) / V::kBytes * V::kBytes;
}

// Converts less than a block, by way of buffers of a whole one.
template <class Body>
__attribute__((noinline, flatten)) void run_partial_block(RowPointers<Body> row, size_t pixels) {
    using V = typename Body::Vector;
    constexpr size_t kInput = whole_vectors<V>(Body::kSrcBytes + 2 * Body::kHalo);
    constexpr size_t kOutput = whole_vectors<V>(Body::kDstBytes);
    alignas(64) uint8_t in_copy[Body::kInputs][kInput];
    alignas(64) uint8_t out_copy[Body::kOutputs][kOutput];
    // Rounded up: a partial group still has all its bytes.
    const size_t src_bytes = (pixels * Body::kSrcBytes + Body::kPixels - 1) / Body::kPixels;
    const size_t dst_bytes = dst_byte_of<Body>(pixels);

    RowPointers<Body> copy;
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kInputs; ++k) {
        const size_t halo = k < Body::kFirstHaloInput ? 0 : Body::kHalo;
        // Zeros beyond that, so that no branch depends on what the stack held before.
        V::template copy_in<kInput>(in_copy[k], row.in[k] - halo, src_bytes + 2 * halo);
        copy.in[k] = in_copy[k] + halo;
    }
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) copy.out[k] = out_copy[k];
    Body::block(copy.in, copy.out);
#pragma GCC unroll 8
    for (size_t k = 0; k < Body::kOutputs; ++k) {
        V::template copy_out<kOutput>(row.out[k], out_copy[k], dst_bytes);
    }
}

}  // namespace imgcnv
