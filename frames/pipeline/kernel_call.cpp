#include "pipeline/kernel_call.h"

#include "converter/destination.h"
#include "pipeline/source_rows.h"

#include <algorithm>

namespace frames {
namespace {

imgcnv::MonoLayout mono_layout(const Format& format) {
    if (format.layout == IMGCNV_LAYOUT_BYTES) return imgcnv::kBytes;
    if (format.layout == IMGCNV_LAYOUT_PACKED) return imgcnv::kPacked;
    return format.depth == 10   ? imgcnv::kWords10
           : format.depth == 12 ? imgcnv::kWords12
                                : imgcnv::kWords16;
}

imgcnv::ColorLayout color_layout(const Format& format) {
    switch (format.layout) {
        case IMGCNV_LAYOUT_UYYVYY:
            return imgcnv::kYuv411;
        case IMGCNV_LAYOUT_UYVY:
            return imgcnv::kYuv422Uyvy;
        case IMGCNV_LAYOUT_YUYV:
            return imgcnv::kYuv422Yuyv;
        case IMGCNV_LAYOUT_UYV:
            return imgcnv::kYuv444;
        default:
            return imgcnv::kRgb8;
    }
}

/// What decodes rows of a frame that are demosaiced.
struct FrameLines {
    const SourceRows& rows;
    const std::uint8_t* frame_end;
    bool begins_with_odd_row;

    static void decode(const void* lines, const std::uint8_t* part, size_t y, std::uint8_t* line,
                       size_t samples) {
        const auto& [rows, frame_end, begins_with_odd_row] = *static_cast<const FrameLines*>(lines);
        rows.read_line8(part, static_cast<size_t>(frame_end - part), line,
                        (y + begins_with_odd_row) % 2, samples);
    }
};

bool is_red_first(IMGCNV_EPixelFormat code) {
    return code != IMGCNV_PIXEL_BGR8_PACKED && code != IMGCNV_PIXEL_BGRA8_PACKED;
}

}  // namespace

void KernelCall::open(const CoreFrame& frame) {
    frame_ = frame;
    format_ = format_of_code(static_cast<std::uint32_t>(frame.format));
    pixel_bytes_ = imgcnv::bytes_per_pixel(frame.target);
    if (is_mosaic(*format_)) open_mosaic(*format_);
}

void KernelCall::open_mosaic(const Format& format) {
    using imgcnv::BayerOrder;
    const auto layout = mono_layout(format);
    mosaic_.order = format.order == IMGCNV_ORDER_RG   ? BayerOrder::RG
                    : format.order == IMGCNV_ORDER_GB ? BayerOrder::GB
                                                      : BayerOrder::BG;
    mosaic_.line_format = imgcnv::LineFormat::of(layout);
    mosaic_.width = static_cast<size_t>(frame_.width);
    mosaic_.height = static_cast<size_t>(frame_.rows + frame_.rows % 2);
    mosaic_.dst_bytes = static_cast<size_t>(pixel_bytes_);
    mosaic_.dst_red_first = pixel_bytes_ != 1 && is_red_first(frame_.target);
    // The adaptive method knows RG as GB upside down.
    mosaic_.upside_down =
        mosaic_.order == BayerOrder::RG && frame_.demosaic == IMGCNV_DEMOSAIC_ADAPTIVE;
    if (mosaic_.upside_down) mosaic_.order = BayerOrder::GB;
    source_rows_.resize(mosaic_.height);
    target_rows_.resize(mosaic_.height);
    dropped_row_.resize(mosaic_.width * mosaic_.dst_bytes);
    mosaic_.src_rows = source_rows_.data();
    mosaic_.dst_rows = target_rows_.data();
    mosaic_.unread_row = dropped_row_.data();
}

void KernelCall::demosaic(const Task& task, const std::uint8_t* source, std::uint8_t* target) {
    // Lines may be read where they lie if the first and the last rows lie outermost in memory.
    const bool is_mirrored = task.reads_frame && task.made.first_row < 0;
    mosaic_.line_format.is_8_bit = format_->layout == IMGCNV_LAYOUT_BYTES && !is_mirrored;
    const auto height = static_cast<std::int64_t>(mosaic_.height);
    for (std::int64_t i = 0; i < height; ++i) {
        // An odd height is completed by the row before the last, which has the right colours.
        const auto read = i < frame_.rows ? i : i - 2;
        const auto y = task.made.first_row + i;
        const auto from =
            task.reads_frame ? mirrored(task.made.first_row + read, frame_.frame_rows) : read;
        const bool is_kept = y >= task.keep.first_row && y < task.keep.last_row;
        const auto row = static_cast<size_t>(mosaic_.upside_down ? height - 1 - i : i);
        source_rows_[row] = source + from * frame_.stride;
        target_rows_[row] = is_kept ? target + (y - task.keep.first_row) * frame_.target_stride
                                    : dropped_row_.data();
    }
    const auto made_bytes = mosaic_.height * mosaic_.width * mosaic_.dst_bytes;
    const auto bytes = static_cast<size_t>(std::max(
        frame_.whole_bytes - static_cast<std::int64_t>(made_bytes), frame_.rows * frame_.stride));
    if (frame_.lines == nullptr) return imgcnv::demosaic(mosaic_, bytes, frame_.demosaic);
    const FrameLines lines = {*frame_.lines,
                              source + (frame_.frame_rows - 1) * frame_.stride + frame_.row_bytes,
                              (task.made.first_row % 2 != 0) != mosaic_.upside_down};
    auto mosaic = mosaic_;
    mosaic.line_format = {false, frame_.lines->bits(), FrameLines::decode, &lines};
    imgcnv::demosaic(mosaic, bytes, frame_.demosaic);
}

imgcnv::RowKernel KernelCall::row_kernel(const imgcnv::KernelTable& kernels) const {
    if (frame_.format == frame_.target) return kernels.mono[imgcnv::kBytes][imgcnv::kGrey1];
    if (channels(*format_) == 1)
        return kernels.mono[mono_layout(*format_)][imgcnv::grey_target(frame_.target)];
    // YUV is red first.
    const bool source_red_first = frame_.format != IMGCNV_PIXEL_BGR8_PACKED;
    const bool target_red_first = pixel_bytes_ == 1 || is_red_first(frame_.target);
    return kernels.color[color_layout(*format_)]
                        [imgcnv::color_target(pixel_bytes_, source_red_first == target_red_first)];
}

void KernelCall::run(const Task& task, const std::uint8_t* source, std::uint8_t* target) {
    if (is_mosaic(*format_)) return demosaic(task, source, target);
    if (task.reads_frame) source += task.made.first_row * frame_.stride;
    const auto made_bytes = frame_.rows * frame_.width * pixel_bytes_;
    const imgcnv::KernelsForFrame kernels(
        static_cast<size_t>(
            std::max(frame_.whole_bytes, frame_.rows * frame_.row_bytes + made_bytes)),
        0);
    const auto kernel = row_kernel(*kernels);
    // Pixels in their own format are copied by the byte.
    auto count = static_cast<size_t>(frame_.format == frame_.target ? frame_.width * pixel_bytes_
                                                                    : frame_.width);
    auto rows = frame_.rows;
    // In locals: members, which are loaded anew in every row, take 2 ns of it.
    const auto stride = frame_.stride, target_stride = frame_.target_stride;
    if (stride == frame_.row_bytes && target_stride == frame_.width * pixel_bytes_) {
        count *= static_cast<size_t>(rows);
        rows = 1;
    }
    for (; rows > 0; --rows, source += stride, target += target_stride)
        kernel(source, target, count);
}

}  // namespace frames
