#include "bayer/bayer_engine.h"

#include <cstdlib>

#include "converter/kernels_for_frame.h"

namespace imgcnv {
namespace {

// malloc whose result counts as used: the memory is part of what callers may
// observe, whether or not we come to need it.
void* take(size_t bytes) {
    void* memory = std::malloc(bytes);
    __asm__ volatile("" : "+r"(memory));
    return memory;
}

template <class T>
T** take_row_table(size_t rows) {
    return static_cast<T**>(take(rows * sizeof(T*)));
}

// The adaptive method to Mono8 owns a full-colour image of the frame. The rows
// of that image never need to exist all at once, so its memory is not touched.
struct AdaptiveScratch {
    void* image = nullptr;
    void* row_table = nullptr;

    bool obtain(size_t width, size_t rows) {
        image = take(rows * width * 3);
        if (image == nullptr) return false;
        row_table = take(rows * sizeof(uint8_t*));
        return row_table != nullptr;
    }
    void release() {
        std::free(row_table);
        std::free(image);
    }
};

}  // namespace

int run_bayer(const BayerJob& job) {
    const size_t height = static_cast<size_t>(job.height);
    // An odd height is completed by repeating the row before the last, which has
    // the colours of the missing one.
    const size_t rows = height + height % 2;
    const size_t width = job.logic_width < 2 ? 0 : static_cast<size_t>(job.logic_width);
    const tagConvertFormatBit& offsets = job.offsets;
    const bool no_color =
        offsets.redOffset == -1 && offsets.greenOffset == -1 && offsets.blueOffset == -1;
    size_t dst_bytes = offsets.alphaOffset == -1 ? 3 : 4;
    if (no_color && offsets.alphaOffset == -1) dst_bytes = 1;

    const uint8_t** src_rows = take_row_table<const uint8_t>(rows);
    if (src_rows == nullptr) return IMGCNV_NO_MEMORY;
    uint8_t** dst_rows = take_row_table<uint8_t>(rows);
    if (dst_rows == nullptr) {
        std::free(src_rows);
        return IMGCNV_NO_MEMORY;
    }
    // The adaptive method knows RG as GB upside down.
    const bool mirrored = job.method == IMGCNV_DEMOSAIC_ADAPTIVE && job.order == BayerOrder::RG;
    const ptrdiff_t stride = job.stride, step = mirrored ? -1 : 1;
    const uint8_t** src_entry = mirrored ? src_rows + rows - 1 : src_rows;
    uint8_t** dst_entry = mirrored ? dst_rows + rows - 1 : dst_rows;
    const uint8_t* src = job.src;
    uint8_t* dst = job.dst;
    for (size_t y = 0; y < rows; ++y) {
        *src_entry = src;
        *dst_entry = dst;
        src_entry += step;
        dst_entry += step;
        src += stride;
        dst += width * dst_bytes;
    }
    if (rows != height) src_entry[-step] = job.src + (static_cast<ptrdiff_t>(height) - 2) * stride;

    AdaptiveScratch scratch;
    if (job.method == IMGCNV_DEMOSAIC_ADAPTIVE && dst_bytes == 1) {
        const size_t scratch_width = job.logic_width < 0 ? 0 : static_cast<size_t>(job.logic_width);
        if (!scratch.obtain(scratch_width, rows)) {
            // Only the source table is given back here; what else was obtained
            // stays allocated. Callers that count allocations have it so.
            std::free(src_rows);
            return IMGCNV_NO_MEMORY;
        }
    }

    if (width != 0) {
        const size_t src_bytes = height * static_cast<size_t>(job.stride);
        const size_t frame_bytes = rows * width * dst_bytes;
        const KernelsForFrame kernels(src_bytes, frame_bytes,
                                      job.method == IMGCNV_DEMOSAIC_NEAREST
                                          ? KernelsForFrame::kStreamNearestAbove
                                          : KernelsForFrame::kStreamDemosaicAbove);
        // Decoded lines stay in the caches, whatever the frame.
        const RowKernel decode = kernels_for_this_cpu().mono[job.layout][kGrey1];
        const BayerFrame frame{
            .kernels = &*kernels,
            .order = mirrored ? BayerOrder::GB : job.order,
            .line_format = {job.layout == kBytes ? nullptr : decode, job.bytes_per_pair},
            .src_rows = src_rows,
            .dst_rows = dst_rows,
            .width = width,
            .height = rows,
            .dst_bytes = dst_bytes,
            .dst_red_first = offsets.redOffset == 0,
            .beyond_caches = src_bytes + frame_bytes > KernelsForFrame::kStreamAbove,
            .mirrored = mirrored,
        };
        switch (job.method) {
            case IMGCNV_DEMOSAIC_NEAREST:
                demosaic_nearest(frame);
                break;
            case IMGCNV_DEMOSAIC_BILINEAR:
                demosaic_bilinear(frame);
                break;
            case IMGCNV_DEMOSAIC_ADAPTIVE:
                demosaic_adaptive(frame);
                break;
            default:
                break;  // unknown methods convert nothing
        }
    }
    scratch.release();
    std::free(dst_rows);
    std::free(src_rows);
    return IMGCNV_SUCCESS;
}

}  // namespace imgcnv
