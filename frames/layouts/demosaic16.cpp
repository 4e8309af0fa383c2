#include "layouts/demosaic16_plain.h"

namespace frames {

void demosaic16(const Demosaic16& job, const std::uint16_t* const* rows, std::int64_t first,
                std::int64_t count, std::uint16_t* out, std::int64_t out_stride_words,
                std::int64_t width_out) {
    const Mosaic16 mosaic(job, rows, first);
    for (std::int64_t y = first; y < first + count; ++y, out += out_stride_words)
        demosaic16_pixels_plain(mosaic, job, y, 0, width_out, out);
}

}  // namespace frames
