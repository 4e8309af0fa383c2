#include "bayer/bayer_engine.h"

#include <cstdlib>

#include "bayer/demosaic.h"

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
class FrameMemory {
  public:
    // false: no memory.
    bool obtain(size_t rows, bool wants_image, size_t image_width) {
        src_rows_ = static_cast<const uint8_t**>(take(rows * sizeof(uint8_t*)));
        if (src_rows_ == nullptr) return false;
        dst_rows_ = static_cast<uint8_t**>(take(rows * sizeof(uint8_t*)));
        if (dst_rows_ != nullptr) {
            if (!wants_image) return true;
            image_ = take(rows * image_width * 3);
            if (image_ != nullptr) image_rows_ = take(rows * sizeof(uint8_t*));
            if (image_rows_ != nullptr) return true;
        }
        // Part of the contract: a failure gives back the source table alone.
        std::free(src_rows_);
        return false;
    }
    void release() {
        std::free(image_rows_);
        std::free(image_);
        std::free(dst_rows_);
        std::free(src_rows_);
    }
    const uint8_t** src_rows() const { return src_rows_; }
    uint8_t** dst_rows() const { return dst_rows_; }

  private:
    const uint8_t** src_rows_ = nullptr;
    uint8_t** dst_rows_ = nullptr;
    void* image_ = nullptr;
    void* image_rows_ = nullptr;
};

size_t dst_bytes_of(const tagConvertFormatBit& offsets) {
    if (offsets.alphaOffset != -1) return 4;
    const bool no_color =
        offsets.redOffset == -1 && offsets.greenOffset == -1 && offsets.blueOffset == -1;
    return no_color ? 1 : 3;
}

// Rows of the frame and its picture. An odd height is completed by repeating the row before the
// last, which has the colours of the missing one.
void fill_row_tables(const BayerJob& job, const BayerFrame& frame, const FrameMemory& memory) {
    const size_t height = static_cast<size_t>(job.height);
    const ptrdiff_t stride = job.stride, step = frame.upside_down ? -1 : 1;
    const size_t first = frame.upside_down ? frame.height - 1 : 0;
    const uint8_t** src_entry = memory.src_rows() + first;
    uint8_t** dst_entry = memory.dst_rows() + first;
    const uint8_t* src = job.src;
    uint8_t* dst = job.dst;
    for (size_t y = 0; y < frame.height; ++y) {
        *src_entry = y < height ? src : src - 2 * stride;
        *dst_entry = dst;
        src_entry += step;
        dst_entry += step;
        src += stride;
        dst += frame.width * frame.dst_bytes;
    }
}

BayerFrame describe_frame(const BayerJob& job, size_t rows, const FrameMemory& memory) {
    // The adaptive method knows RG as GB upside down.
    const bool upside_down = job.method == IMGCNV_DEMOSAIC_ADAPTIVE && job.order == BayerOrder::RG;
    // Decoded lines stay in the caches, whatever the frame: these are the ordinary kernels.
    const RowKernel decode = kernels_for_this_cpu().mono[job.layout][kGrey1];
    return {.kernels = nullptr,
            .order = upside_down ? BayerOrder::GB : job.order,
            .line_format = {job.layout == kBytes, decode, job.bytes_per_pair},
            .src_rows = memory.src_rows(),
            .dst_rows = memory.dst_rows(),
            .width = static_cast<size_t>(job.logic_width),
            .height = rows,
            .dst_bytes = dst_bytes_of(job.offsets),
            .dst_red_first = job.offsets.redOffset == 0,
            .beyond_caches = false,
            .upside_down = upside_down};
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
        const BayerFrame frame = describe_frame(job, rows, memory);
        fill_row_tables(job, frame, memory);
        const size_t src_bytes = static_cast<size_t>(job.height) * static_cast<size_t>(job.stride);
        demosaic(frame, src_bytes, job.method);
    }
    memory.release();
    return IMGCNV_SUCCESS;
}

}  // namespace imgcnv
