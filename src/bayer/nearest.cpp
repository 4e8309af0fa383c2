// Nearest demosaic: row pairs, whole cells. The last column of an odd width has
// no cell and is left as it was.

#include "bayer/sample_lines.h"

namespace imgcnv {

void demosaic_nearest(const BayerFrame& frame) {
    const NearestKernel kernel = frame.kernels->nearest[frame.phase(0, 0)][frame.sink(0)];
    constexpr size_t kColumns = 8192;
    alignas(64) uint8_t memory[2 * line_bytes(kColumns)];
    SampleLines<2> lines(frame, memory, kColumns);
    for_each_strip(frame, lines, frame.width & ~size_t{1}, kColumns, [&](size_t x, size_t end) {
        for (size_t y = 0; y < frame.height; y += 2) {
            kernel(lines.at(y, x), lines.at(y + 1, x), frame.dst(y, x), frame.dst(y + 1, x),
                   end - x);
        }
    });
}

}  // namespace imgcnv
