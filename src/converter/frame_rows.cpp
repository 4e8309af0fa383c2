#include "converter/frame_rows.h"

#include "converter/destination.h"

namespace imgcnv {
namespace {

// Rounds a row up to whole 64-pixel blocks if at most 16 pixels are missing, which the next row
// then writes again. Wide rows gain nothing by it.
size_t round_up_to_block(size_t pixels) {
    constexpr size_t kBlock = 64, kWide = 512;
    const size_t missing = (kBlock - pixels % kBlock) % kBlock;
    return pixels < kWide && missing <= kBlock / 4 ? pixels + missing : pixels;
}

}  // namespace

FrameRows rows_of(const CImgConverterC& converter, const uint8_t* src, uint8_t* dst, size_t pixels,
                  size_t src_row_bytes) {
    const size_t dst_bytes = static_cast<size_t>(bytes_per_pixel(converter.dstFormat));
    return {.src = src,
            .dst = dst,
            .pixels = pixels,
            .src_row_bytes = src_row_bytes,
            .src_padding = converter.rowPadding,
            .dst_row_bytes = pixels * dst_bytes,
            .rows = static_cast<size_t>(converter.height),
            .may_overwrite_next_row = false};
}

void convert_rows(const FrameRows& frame, RowKernel kernel) {
    if (frame.pixels == 0 || frame.rows == 0) return;
    if (frame.src_padding == 0) {
        kernel(frame.src, frame.dst, frame.pixels * frame.rows);
        return;
    }
    const ptrdiff_t src_step = static_cast<ptrdiff_t>(frame.src_row_bytes) + frame.src_padding;
    const size_t long_row = frame.src_padding > 0 && frame.may_overwrite_next_row
                                ? round_up_to_block(frame.pixels)
                                : frame.pixels;
    const uint8_t* src = frame.src;
    uint8_t* dst = frame.dst;
    for (size_t left = frame.rows; left > 1; --left) {
        kernel(src, dst, long_row);
        src += src_step;
        dst += frame.dst_row_bytes;
    }
    kernel(src, dst, frame.pixels);
}

}  // namespace imgcnv
