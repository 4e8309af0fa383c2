#include "converter/frame_rows.h"

#include "converter/streaming.h"

namespace imgcnv {
namespace {

// Pixels of a piece: a whole number of every format's groups.
constexpr size_t kPiece = 2048;

void stream_row(const FrameRows& frame, const uint8_t* src, uint8_t* dst, size_t pixels,
                RowKernel kernel, StreamKernel stream) {
    alignas(64) uint8_t piece[kPiece * 4];
    for (size_t x = 0; x < pixels; x += kPiece) {
        const size_t n = pixels - x < kPiece ? pixels - x : kPiece;
        // Exact: a piece is a whole number of groups, and so is x.
        kernel(src + x * frame.src_row_bytes / frame.pixels, piece, n);
        stream(piece, dst + x * frame.dst_row_bytes / frame.pixels,
               n * frame.dst_row_bytes / frame.pixels);
    }
}

}  // namespace

void convert_rows(FrameRows frame, RowKernel kernel, const KernelTable& kernels) {
    if (frame.pixels == 0) return;
    const ptrdiff_t src_step = static_cast<ptrdiff_t>(frame.src_row_bytes) + frame.src_padding;
    const bool streaming =
        frame.streams_when_large && is_worth_streaming(kernels, frame.rows * frame.src_row_bytes,
                                                       frame.rows * frame.dst_row_bytes);
    if (frame.src_padding == 0 && !streaming) {
        kernel(frame.src, frame.dst, frame.pixels * frame.rows);
        return;
    }
    // Bytes to bytes need no buffer in between.
    const bool copying = kernel == kernels.mono[kBytes][kGrey1];
    for (size_t y = 0; y < frame.rows; ++y) {
        const uint8_t* src = frame.src + static_cast<ptrdiff_t>(y) * src_step;
        uint8_t* dst = frame.dst + y * frame.dst_row_bytes;
        if (streaming && copying) {
            kernels.stream(src, dst, frame.dst_row_bytes);
        } else if (streaming) {
            stream_row(frame, src, dst, frame.pixels, kernel, kernels.stream);
        } else {
            kernel(src, dst, frame.pixels);
        }
    }
    if (streaming) finish_streaming();
}

}  // namespace imgcnv
