// Nearest demosaic: row pairs, whole cells. The last column of an odd width has
// no cell and is left as it was.

#include "bayer/sample_lines.h"

namespace imgcnv {

void demosaic_nearest(const BayerFrame& frame) {
    constexpr size_t kColumns = 8192, kLines = 2;
    alignas(64) uint8_t memory[kLines * line_bytes(kColumns)];
    static_assert(sizeof memory <= kMostLineBytes);
    SampleLines lines(frame, {memory, kLines, kColumns}, 0, false);
    const NearestKernel kernel = frame.kernels->nearest[frame.row_start(0)][frame.target(0)];
    for_each_strip(frame.width, kColumns, [&](const Strip& strip) {
        lines.begin_strip(strip);
        for (size_t y = 0; y < frame.height; y += 2) {
            const uint8_t* even = lines.line(y, 0);
            const uint8_t* odd = lines.line(y + 1, 0);
            kernel(even, odd, frame.dst(y, strip.begin), frame.dst(y + 1, strip.begin),
                   strip.paired_columns());
        }
    });
}

}  // namespace imgcnv
