#include "pipeline/wide.h"

#include "pipeline/completed_mosaic.h"

#include <algorithm>

namespace frames {

std::size_t WidePicture::scratch_bytes(const Rectangle& made) const {
    const auto rows = made.rows();
    if (is_yuv(*frame_.format)) {
        const auto width = frame_.width + frame_.format->group_pixels;
        return static_cast<std::size_t>(rows * (source_.row_bytes8(width) + width * 3));
    }
    const auto pointers =
        (rows + 2 * CompletedMosaic::kMostAbove) * static_cast<std::int64_t>(sizeof(void*));
    return static_cast<std::size_t>(rows * made.columns() * source_.channels() * 2 + pointers);
}

imgcnv_status WidePicture::make(const Task& task, const CoreCall* yuv_call,
                                const std::uint8_t* bytes, std::uint16_t* out, std::int64_t stride,
                                std::uint8_t* scratch, std::uint8_t* row) const {
    if (is_yuv(*frame_.format)) return make_yuv(task, *yuv_call, bytes, out, stride, scratch, row);
    const bool is_raw = wish_.kind == IMGCNV_TARGET_RAW16;
    if (is_raw || source_.channels() == 3) {
        source_.read16(bytes, task.keep, out, stride, row);
        const bool is_blue_first = frame_.format->layout == IMGCNV_LAYOUT_BGR ||
                                   frame_.format->layout == IMGCNV_LAYOUT_BGRA;
        // Raw channels are R, G, B whatever their order in the frame.
        if (source_.channels() == 3 && is_blue_first != wish_.is_blue_first())
            for (auto y = task.keep.first_row; y < task.keep.last_row; ++y, out += stride)
                sample_kernels().exchange16(out, out,
                                            static_cast<std::size_t>(task.keep.columns()));
    } else if (is_demosaiced(frame_)) {
        make_mosaic(task, bytes, out, stride, scratch, row);
    } else {
        make_grey(task, bytes, out, stride, reinterpret_cast<std::uint16_t*>(scratch), row);
    }
    return IMGCNV_OK;
}

void WidePicture::make_grey(const Task& task, const std::uint8_t* bytes, std::uint16_t* out,
                            std::int64_t stride, std::uint16_t* samples, std::uint8_t* row) const {
    auto line = task.keep;
    for (auto y = task.keep.first_row; y < task.keep.last_row; ++y, out += stride) {
        line.first_row = y;
        line.last_row = y + 1;
        source_.read16(bytes, line, samples, 0, row);
        for (std::int64_t x = 0; x < line.columns(); ++x)
            out[3 * x] = out[3 * x + 1] = out[3 * x + 2] = samples[x];
    }
}

void WidePicture::make_mosaic(const Task& task, const std::uint8_t* bytes, std::uint16_t* out,
                              std::int64_t stride, std::uint8_t* scratch, std::uint8_t* row) const {
    const auto& made = task.made;
    const CompletedMosaic mosaic(frame_, wish_);
    const auto& job = mosaic.job;
    const auto above = mosaic.rows_above;

    const auto** rows = reinterpret_cast<const std::uint16_t**>(scratch);
    const auto [first, last] = mosaic.rows_around(task.keep);
    auto* samples = reinterpret_cast<std::uint16_t*>(rows + (last - first));
    source_.read16(bytes, made, samples, made.columns(), row);
    for (auto y = first; y < last; ++y) {
        // A row that is read for the mirrored one beyond the frame need not lie in `made` itself.
        const auto lies = y < made.last_row ? y : mirrored(y, frame_.height);
        rows[y - first] = samples + (lies - made.first_row) * made.columns();
    }
    demosaic16(job, rows + (task.keep.first_row - first), task.keep.first_row + above,
               task.keep.rows(), out, stride, frame_.width);
}

imgcnv_status WidePicture::make_yuv(const Task& task, const CoreCall& call,
                                    const std::uint8_t* bytes, std::uint16_t* out,
                                    std::int64_t stride, std::uint8_t* scratch,
                                    std::uint8_t* row) const {
    const auto row_bytes = source_.row_bytes8(task.made.columns());
    auto* pixels = scratch;
    if (!task.reads_frame) {
        source_.read8(bytes, task.made, scratch, row_bytes, row);
        pixels += row_bytes * task.made.rows();
    }
    if (const auto status = call.run(task, task.reads_frame ? bytes : scratch, pixels);
        status != IMGCNV_OK)
        return status;
    const int scale = wish_.full_scale ? 257 : 1;
    for (auto y = task.keep.first_row; y < task.keep.last_row; ++y, out += stride) {
        for (std::int64_t x = 0; x < frame_.width * 3; ++x)
            out[x] = static_cast<std::uint16_t>(pixels[x] * scale);
        pixels += call.frame().width * 3;
    }
    return IMGCNV_OK;
}

}  // namespace frames
