#include "bayer/bayer_engine.h"

#include <cstdlib>

namespace imgcnv {
namespace {

// malloc that the optimiser may not elide: callers may observe which memory a conversion takes,
// whether or not it comes to need it.
void* take(size_t bytes) {
    void* memory = std::malloc(bytes);
    __asm__ volatile("" : "+r"(memory));
    return memory;
}

// What a conversion allocates: two row tables, and for the adaptive method to grey the block and
// the row table of a full-colour image. The rows of that image never need to exist all at once,
// so its memory is not touched.
struct FrameMemory {
    const uint8_t** src_rows = nullptr;
    uint8_t** dst_rows = nullptr;
    void* image = nullptr;
    void* image_rows = nullptr;

    // false: no memory.
    bool obtain(size_t rows, bool wants_image, size_t image_width) {
        const size_t table_bytes = rows * sizeof(void*);
        src_rows = static_cast<const uint8_t**>(take(table_bytes));
        if (src_rows == nullptr) return false;
        dst_rows = static_cast<uint8_t**>(take(table_bytes));
        if (dst_rows != nullptr && wants_image) image = take(rows * image_width * 3);
        if (image != nullptr) image_rows = take(table_bytes);
        if ((wants_image ? image_rows : dst_rows) != nullptr) return true;
        // Part of the contract: a failure gives back the source table alone.
        std::free(src_rows);
        return false;
    }
    void release() {
        std::free(image_rows);
        std::free(image);
        std::free(dst_rows);
        std::free(src_rows);
    }
};

size_t dst_bytes_of(const tagConvertFormatBit& offsets) {
    if (offsets.alphaOffset != -1) return 4;
    const bool no_color =
        offsets.redOffset == -1 && offsets.greenOffset == -1 && offsets.blueOffset == -1;
    return no_color ? 1 : 3;
}

// The frame, and its rows and those of its picture in the tables. An odd height is completed by
// repeating the row before the last, which has the colours of the missing one.
BayerFrame frame_of(const BayerJob& job, size_t rows, const FrameMemory& memory) {
    // The adaptive method knows RG as GB upside down.
    const bool upside_down = job.method == IMGCNV_DEMOSAIC_ADAPTIVE && job.order == BayerOrder::RG;
    const BayerFrame frame = {.kernels = nullptr,
                              .order = upside_down ? BayerOrder::GB : job.order,
                              .line_format = LineFormat::of(job.layout),
                              .src_rows = memory.src_rows,
                              .dst_rows = memory.dst_rows,
                              .width = static_cast<size_t>(job.logic_width),
                              .height = rows,
                              .dst_bytes = dst_bytes_of(job.offsets),
                              .dst_red_first = job.offsets.redOffset == 0,
                              .beyond_caches = false,
                              .upside_down = upside_down};
    for (size_t y = 0; y < rows; ++y) {
        const size_t entry = upside_down ? rows - 1 - y : y;
        const size_t read = y < static_cast<size_t>(job.height) ? y : y - 2;
        memory.src_rows[entry] = job.src + static_cast<ptrdiff_t>(read) * job.stride;
        memory.dst_rows[entry] = job.dst + y * frame.width * frame.dst_bytes;
    }
    return frame;
}

bool is_known(tagIMGCNV_EBayerDemosaic method) {
    return method == IMGCNV_DEMOSAIC_NEAREST || method == IMGCNV_DEMOSAIC_BILINEAR ||
           method == IMGCNV_DEMOSAIC_ADAPTIVE;
}

}  // namespace

int run_bayer(const BayerJob& job) {
    const size_t rows = static_cast<size_t>(job.height) + static_cast<size_t>(job.height) % 2;
    const bool wants_image =
        job.method == IMGCNV_DEMOSAIC_ADAPTIVE && dst_bytes_of(job.offsets) == 1;
    const size_t image_width = job.logic_width < 0 ? 0 : static_cast<size_t>(job.logic_width);
    FrameMemory memory;
    if (!memory.obtain(rows, wants_image, image_width)) return IMGCNV_NO_MEMORY;
    // A frame without a whole cell, and a method that there is not, convert nothing.
    if (job.logic_width >= 2 && is_known(job.method)) {
        const size_t src_bytes = static_cast<size_t>(job.height) * static_cast<size_t>(job.stride);
        demosaic(frame_of(job, rows, memory), src_bytes, job.method);
    }
    memory.release();
    return IMGCNV_SUCCESS;
}

}  // namespace imgcnv
