#include "geometry/frame_geometry.h"

#include "formats/find_format.h"
#include "support/boundary.h"

#include <limits>

namespace frames {
namespace {

/// libimgcnv counts pixels and bytes in 32 bits.
constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();

std::int64_t rounded_up(std::int64_t value, std::int64_t unit) {
    return (value + unit - 1) / unit * unit;
}

imgcnv_status refused(Text&) { return IMGCNV_BAD_ARGUMENT; }

imgcnv_status check_size(const imgcnv_frame& frame, Text& text) {
    if (frame.width >= 1 && frame.height >= 1 && frame.width <= kMost / frame.height)
        return IMGCNV_OK;
    text << "size " << frame.width << "x" << frame.height << ": ";
    if (frame.width < 1 || frame.height < 1)
        return refused(text << "width and height must be at least 1");
    return refused(text << "a frame may have at most " << kMost << " pixels");
}

imgcnv_status check_flags(const Format& format, std::uint32_t flags, Text& text) {
    constexpr std::uint32_t kKnown = IMGCNV_FRAME_BIG_ENDIAN | IMGCNV_FRAME_VIDEO_RANGE;
    if ((flags & ~kKnown) != 0)
        return refused(text << "flags " << std::int64_t{flags} << ": unknown, expected at most "
                            << std::int64_t{kKnown});
    if ((flags & IMGCNV_FRAME_BIG_ENDIAN) != 0 && !has_words(format))
        return refused(text << format.name << " has no 16-bit words that could be big-endian");
    if ((flags & IMGCNV_FRAME_VIDEO_RANGE) != 0 && !is_yuv(format))
        return refused(text << format.name << " has no video range: only YUV formats do");
    return IMGCNV_OK;
}

imgcnv_status check_rows(const Geometry& frame, std::int64_t stride, Text& text) {
    const auto& format = *frame.format;
    if (stride < 0 || stride > kMost)
        return refused(text << "stride " << stride << ": expected 0 for rows without padding, or "
                            << frame.row_bytes << " to " << kMost << " bytes");
    if (is_points(format))
        return stride == 0 ? IMGCNV_OK
                           : refused(text << format.name << " is a list of points: it has no rows, "
                                          << "so its stride must be 0");
    if (stride != 0 && stride < frame.row_bytes)
        return refused(text << "stride " << stride << ": a row of " << frame.width << " pixels of "
                            << format.name << " takes " << frame.row_bytes << " bytes");
    return IMGCNV_OK;
}

}  // namespace

std::int64_t row_bytes(const Format& format, std::int64_t width) {
    if (is_points(format)) return 0;
    if (format.layout == IMGCNV_LAYOUT_LSB_FIRST || format.layout == IMGCNV_LAYOUT_PACKED)
        return rounded_up(width * format.bits_per_pixel, 8) / 8;
    return rounded_up(width, format.group_pixels) / format.group_pixels * format.group_bytes;
}

imgcnv_status measure(const imgcnv_frame& frame, Geometry& geometry, Text& text) {
    Geometry result;
    result.format = format_of_code(frame.format);
    if (result.format == nullptr) {
        explain_code(frame.format, text);
        return IMGCNV_UNKNOWN_FORMAT;
    }
    const auto& format = *result.format;
    if (const auto status = check_size(frame, text)) return status;
    if (const auto status = check_flags(format, frame.flags, text)) return status;
    result.width = frame.width;
    result.height = frame.height;
    result.row_bytes = row_bytes(format, frame.width);
    result.big_endian = (frame.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0;
    result.video_range = (frame.flags & IMGCNV_FRAME_VIDEO_RANGE) != 0;
    if (const auto status = check_rows(result, frame.stride, text)) return status;
    if (frame.skip < 0 || frame.gap < 0)
        return refused(text << (frame.skip < 0 ? "skip " : "gap ")
                            << (frame.skip < 0 ? frame.skip : frame.gap)
                            << ": expected 0 or more bytes");

    const auto row_bits = frame.width * format.bits_per_pixel;
    const bool rows_share_bytes = format.layout == IMGCNV_LAYOUT_LSB_FIRST && frame.stride == 0 &&
                                  row_bits % 8 != 0 && frame.height > 1;
    if (rows_share_bytes) {
        result.frame_bytes = result.needed_bytes = rounded_up(row_bits * frame.height, 8) / 8;
    } else if (!is_points(format)) {
        result.stride = frame.stride != 0 ? frame.stride : result.row_bytes;
        result.frame_bytes = result.stride * frame.height;
        result.needed_bytes = result.stride * (frame.height - 1) + result.row_bytes;
    }
    if (format.in_core && result.frame_bytes > kMost) {
        text << "a frame of ";
        describe(result, text);
        return refused(text << " takes " << result.frame_bytes << " bytes: the most is " << kMost);
    }
    geometry = result;
    return IMGCNV_OK;
}

imgcnv_status measure(const imgcnv_frame* given, Geometry& geometry, Text& text) {
    imgcnv_frame frame;
    if (!take(given, frame))
        return refused(text << "the frame is null, or its struct_size is not set");
    return measure(frame, geometry, text);
}

void describe(const Geometry& geometry, Text& text) {
    const auto& format = *geometry.format;
    text << format.name << " " << geometry.width << "x" << geometry.height;
    if (geometry.big_endian) text << ", big-endian";
    if (geometry.video_range) text << ", video range";
    if (geometry.stride != 0 && geometry.stride != geometry.row_bytes)
        text << ", rows of " << geometry.row_bytes << " bytes every " << geometry.stride;
}

}  // namespace frames
