#include "converter/frame_rows.h"

#include "converter/destination.h"

namespace imgcnv {

FrameRows rows_of(const CImgConverterC& converter, const uint8_t* src, uint8_t* dst, size_t pixels,
                  size_t src_row_bytes) {
    const size_t dst_bytes = static_cast<size_t>(bytes_per_pixel(converter.dstFormat));
    return {.src = src,
            .dst = dst,
            .pixels = pixels,
            .src_row_bytes = src_row_bytes,
            .src_padding = converter.rowPadding,
            .dst_row_bytes = pixels * dst_bytes,
            .rows = static_cast<size_t>(converter.height)};
}

void convert_rows(const FrameRows& frame, RowKernel kernel) {
    if (frame.pixels == 0) return;
    if (frame.src_padding == 0) {
        kernel(frame.src, frame.dst, frame.pixels * frame.rows);
        return;
    }
    const ptrdiff_t src_step = static_cast<ptrdiff_t>(frame.src_row_bytes) + frame.src_padding;
    for (size_t y = 0; y < frame.rows; ++y) {
        kernel(frame.src + static_cast<ptrdiff_t>(y) * src_step,
               frame.dst + y * frame.dst_row_bytes, frame.pixels);
    }
}

}  // namespace imgcnv
