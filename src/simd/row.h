// The loop and the tail of every vector kernel.
//
// A body converts one block:
//
//   kPixels           pixels of a block
//   kInputs, kOutputs number of streams
//   kSrcBytes         bytes a block of each input, without the halo
//   kDstBytes         bytes a block of each output
//   kHalo             bytes read on either side of an input block
//   block(in, out)    in[kInputs], out[kOutputs]: pointers at the block
//
// Full blocks go straight from and to the caller's buffers. What is left over is
// converted once more together with the pixels before it, as a block that ends
// where the row ends; rows shorter than a block go through block-sized buffers on
// the stack. Nothing outside the exact ranges is touched.
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
inline void run_block(const Streams<Body>& s, size_t pixel) {
    const size_t from = pixel * Body::kSrcBytes / Body::kPixels;
    const size_t to = pixel * Body::kDstBytes / Body::kPixels;
    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];
    for (size_t k = 0; k < Body::kInputs; ++k) in[k] = s.in[k] + from;
    for (size_t k = 0; k < Body::kOutputs; ++k) out[k] = s.out[k] + to;
    Body::block(in, out);
}

template <class Body>
__attribute__((noinline)) void run_partial_block(const Streams<Body>& s, size_t pixel,
                                                 size_t pixels) {
    constexpr size_t kInput = Body::kSrcBytes + 2 * Body::kHalo;
    // Cleared, so that no branch depends on what was there before.
    uint8_t in_copy[Body::kInputs][kInput] = {};
    uint8_t out_copy[Body::kOutputs][Body::kDstBytes];
    const size_t from = pixel * Body::kSrcBytes / Body::kPixels;
    const size_t to = pixel * Body::kDstBytes / Body::kPixels;
    // A last group may be cut short in pixels but not in bytes.
    const size_t src_bytes = (pixels * Body::kSrcBytes + Body::kPixels - 1) / Body::kPixels;
    const size_t dst_bytes = pixels * Body::kDstBytes / Body::kPixels;

    const uint8_t* in[Body::kInputs];
    uint8_t* out[Body::kOutputs];
    for (size_t k = 0; k < Body::kInputs; ++k) {
        memcpy(in_copy[k], s.in[k] + from - Body::kHalo, src_bytes + 2 * Body::kHalo);
        in[k] = in_copy[k] + Body::kHalo;
    }
    for (size_t k = 0; k < Body::kOutputs; ++k) out[k] = out_copy[k];
    Body::block(in, out);
    for (size_t k = 0; k < Body::kOutputs; ++k) memcpy(s.out[k] + to, out_copy[k], dst_bytes);
}

template <class Body>
inline void run_row(const Streams<Body>& s, size_t pixels) {
    size_t i = 0;
    for (; i + Body::kPixels <= pixels; i += Body::kPixels) run_block<Body>(s, i);
    if (i == pixels) return;
    // The block that ends at the end must begin at a pair like the others.
    const size_t even = pixels & ~size_t{1};
    if (even >= Body::kPixels && (even - Body::kPixels) % Body::kGroup == 0) {
        if (i != even) run_block<Body>(s, even - Body::kPixels);
        i = even;
    }
    if (i != pixels) run_partial_block<Body>(s, i, pixels - i);
}

}  // namespace imgcnv
