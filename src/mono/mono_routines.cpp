// The monochrome routines: how a frame of each format is cut into rows.

#include "converter/frame_rows.h"
#include "converter/wrapping.h"

using namespace imgcnv;

namespace {

// Formats whose rows begin on whole bytes and may be padded.
int convert_raster(const CImgConverterC& converter, MonoLayout layout, const uint8_t* src,
                   uint8_t* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    if (converter.width < 1 || converter.height < 1) return IMGCNV_SUCCESS;

    // Only whole groups: the last pixel of an odd packed row is neither read nor written, and
    // output rows are one pixel shorter.
    const auto [group_samples, group_bytes] = group_of(layout);
    const size_t groups = static_cast<size_t>(converter.width / group_samples);
    const GreyTarget target = grey_target(converter.dstFormat);
    convert_rows(converter, {src, dst, groups * group_samples, groups * group_bytes},
                 [&](const KernelTable& kernels) { return kernels.mono[layout][target]; });
    return IMGCNV_SUCCESS;
}

// Formats that are one stream of bits, without rows.
void convert_stream(MonoLayout layout, GreyTarget target, size_t pixels, const uint8_t* src,
                    uint8_t* dst) {
    const KernelsForFrame kernels(pixels / group_of(layout).samples, pixels * bytes_of(target));
    kernels->mono[layout][target](src, dst, pixels);
}

}  // namespace

// One bit stream without row alignment. A last partial byte is left unconverted,
// and the picture is always one byte per pixel.
int CImgConverterC::convertMono1P(unsigned char* src, unsigned char* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    const int bytes = wrapping_mul(height, width) >> 3;
    if (bytes > 0) convert_stream(kBits1, kGrey1, 8 * static_cast<size_t>(bytes), src, dst);
    return IMGCNV_SUCCESS;
}

// One nibble stream without row alignment, exactly width x height pixels.
int CImgConverterC::convertMono4P(unsigned char* src, unsigned char* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    const size_t pixels = static_cast<uint32_t>(wrapping_mul(width, height));
    convert_stream(kNibbles, grey_target(dstFormat), pixels, src, dst);
    return IMGCNV_SUCCESS;
}

int CImgConverterC::convertMono8(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kBytes, src, dst);
}
int CImgConverterC::convertMono10(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kWords10, src, dst);
}
int CImgConverterC::convertMono10P(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kPacked, src, dst);
}
int CImgConverterC::convertMono12(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kWords12, src, dst);
}
int CImgConverterC::convertMono12P(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kPacked, src, dst);
}
int CImgConverterC::convertMono16(unsigned char* src, unsigned char* dst) {
    return convert_raster(*this, kWords16, src, dst);
}
