// Nearest demosaic: row pairs, whole cells. The last column of an odd width has
// no cell and is left as it was.

#include "bayer/sample_lines.h"

namespace imgcnv {

void demosaic_nearest(const BayerFrame& frame) {
    const NearestKernel kernel = frame.kernels->nearest[frame.phase(0, 0)][frame.sink(0)];
    const size_t width = frame.width & ~size_t{1};
    const bool direct = frame.line_format.decode == nullptr;
    const size_t strip = direct ? width : kStripColumns;

    SampleLines<2> lines(frame);
    for (size_t x = 0; x < width; x += strip) {
        const size_t end = width - x < strip ? width : x + strip;
        lines.begin_strip(x, end);
        for (size_t y = 0; y < frame.height; y += 2) {
            kernel(lines.at(y, x), lines.at(y + 1, x), frame.dst(y, x), frame.dst(y + 1, x),
                   end - x);
        }
    }
}

}  // namespace imgcnv
