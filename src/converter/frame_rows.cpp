#include "converter/frame_rows.h"

namespace imgcnv {

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
