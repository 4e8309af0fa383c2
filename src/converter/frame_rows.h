// Walks the rows of a raster frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "converter/img_converter.h"
#include "simd/kernel_table.h"

namespace imgcnv {

struct FrameRows {
    const uint8_t* src;
    uint8_t* dst;
    size_t pixels;          // converted per row
    size_t src_row_bytes;   // read per row
    ptrdiff_t src_padding;  // skipped after each row; may be negative
    size_t dst_row_bytes;   // written per row; rows follow one another
    size_t rows;
    bool may_overwrite_next_row;  // it pays, and the kernel has no branch that depends on pixels

    size_t src_bytes() const { return rows * src_row_bytes; }
    size_t dst_bytes() const { return rows * dst_row_bytes; }
};

// The rows of the converter's frame and of its picture.
FrameRows rows_of(const CImgConverterC& converter, const uint8_t* src, uint8_t* dst, size_t pixels,
                  size_t src_row_bytes);

// Runs the kernel over every row. Rows that touch in the source are one long
// row, so that partial blocks come once per frame and not once per row. Others, if they may, are
// rounded up to a block: up to 16 pixels are read from the padding, and written over the beginning
// of the picture's next row, which is converted after that.
void convert_rows(const FrameRows& frame, RowKernel kernel);

}  // namespace imgcnv
