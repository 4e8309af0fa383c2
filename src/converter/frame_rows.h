// Walks the rows of a raster frame.
#pragma once

#include <cstddef>
#include <cstdint>

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
    bool streams_when_large;  // see streaming.h
};

// Runs the kernel over every row. Rows that touch in the source are one long
// row, so that partial blocks come once a frame and not once a row.
void convert_rows(FrameRows frame, RowKernel kernel, const KernelTable& kernels);

}  // namespace imgcnv
