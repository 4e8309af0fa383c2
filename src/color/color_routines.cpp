// The packed colour routines: which target, and how a frame is cut into rows.

#include "converter/frame_rows.h"

using namespace imgcnv;

namespace {

int convert_rgb8_or_bgr8(const CImgConverterC& converter, tagIMGCNV_EPixelFormat same_order,
                         const uint8_t* src, uint8_t* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    if (converter.dstFormat == same_order) {
        // The buffer as it is, row padding included.
        const size_t bytes = static_cast<size_t>(ptrdiff_t{converter.dataSize});
        const KernelsForFrame kernels(bytes, bytes);
        kernels->mono[kBytes][kGrey1](src, dst, bytes);
        return IMGCNV_SUCCESS;
    }
    if (converter.width < 1 || converter.height < 1) return IMGCNV_SUCCESS;

    bool destination_has_red_first = true;
    switch (converter.dstFormat) {
        case IMGCNV_PIXEL_BGR8_PACKED:
        case IMGCNV_PIXEL_BGRA8_PACKED:
            destination_has_red_first = false;
            break;
        case IMGCNV_PIXEL_RGB8_PACKED:
        case IMGCNV_PIXEL_RGBA8_PACKED:
        case IMGCNV_PIXEL_MONO8:
            break;
        default:
            return IMGCNV_SUCCESS;  // unknown destinations get nothing
    }
    const bool source_has_red_first = same_order == IMGCNV_PIXEL_RGB8_PACKED;
    const ColorTarget target = color_target(bytes_per_pixel(converter.dstFormat),
                                            source_has_red_first == destination_has_red_first);
    const size_t pixels = static_cast<size_t>(converter.width);
    convert_rows(converter, {src, dst, pixels, 3 * pixels},
                 [&](const KernelTable& kernels) { return kernels.color[kRgb8][target]; });
    return IMGCNV_SUCCESS;
}

int convert_yuv(const CImgConverterC& converter, ColorLayout layout, size_t group_pixels,
                size_t group_bytes, const uint8_t* src, uint8_t* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    if (converter.width < 1 || converter.height < 1) return IMGCNV_SUCCESS;

    // Groups are converted whole: the pixels beyond the width shift later rows.
    const size_t groups = (static_cast<size_t>(converter.width) + group_pixels - 1) / group_pixels;
    const int bytes = bytes_per_pixel(converter.dstFormat);
    const ColorTarget target = color_target(bytes, bytes == 1 || converter.redOffset == 0);
    convert_rows(converter, {src, dst, groups * group_pixels, groups * group_bytes},
                 [&](const KernelTable& kernels) { return kernels.color[layout][target]; });
    return IMGCNV_SUCCESS;
}

}  // namespace

int CImgConverterC::convertRGB8(unsigned char* src, unsigned char* dst) {
    return convert_rgb8_or_bgr8(*this, IMGCNV_PIXEL_RGB8_PACKED, src, dst);
}
int CImgConverterC::convertBGR8(unsigned char* src, unsigned char* dst) {
    return convert_rgb8_or_bgr8(*this, IMGCNV_PIXEL_BGR8_PACKED, src, dst);
}
int CImgConverterC::convertYUV444P(unsigned char* src, unsigned char* dst) {
    return convert_yuv(*this, kYuv444, 1, 3, src, dst);
}
int CImgConverterC::convertYUV422P(unsigned char* src, unsigned char* dst) {
    return convert_yuv(*this, kYuv422Uyvy, 2, 4, src, dst);
}
int CImgConverterC::convertYUV422P_YUYV(unsigned char* src, unsigned char* dst) {
    return convert_yuv(*this, kYuv422Yuyv, 2, 4, src, dst);
}
int CImgConverterC::convertYUV411P(unsigned char* src, unsigned char* dst) {
    return convert_yuv(*this, kYuv411, 4, 6, src, dst);
}
