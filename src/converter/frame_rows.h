// Walks the rows of a raster frame.
#pragma once

#include "converter/destination.h"
#include "converter/img_converter.h"
#include "converter/kernels_for_frame.h"

namespace imgcnv {

struct FrameRows {
    const uint8_t* src;
    uint8_t* dst;
    size_t pixels;         // converted per row; the picture's rows follow one another
    size_t src_row_bytes;  // read per row, before the padding
};

// Runs the kernel that find(table) names over every row of the converter's frame. Rows that touch
// in the source are one long row, so that partial blocks come once per frame and not once per row.
template <class Find>
void convert_rows(const CImgConverterC& converter, const FrameRows& frame, Find find) {
    if (frame.pixels == 0) return;
    const size_t rows = static_cast<size_t>(converter.height);
    const size_t dst_row_bytes =
        frame.pixels * static_cast<size_t>(bytes_per_pixel(converter.dstFormat));
    const KernelsForFrame kernels(rows * frame.src_row_bytes, rows * dst_row_bytes);
    const RowKernel kernel = find(*kernels);
    if (converter.rowPadding == 0) return kernel(frame.src, frame.dst, frame.pixels * rows);
    // Padding may be negative.
    const ptrdiff_t src_step = static_cast<ptrdiff_t>(frame.src_row_bytes) + converter.rowPadding;
    for (size_t y = 0; y < rows; ++y)
        kernel(frame.src + static_cast<ptrdiff_t>(y) * src_step, frame.dst + y * dst_row_bytes,
               frame.pixels);
}

}  // namespace imgcnv
