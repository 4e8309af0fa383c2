// Bayer frames one row high: no 2x2 cell, hence no colour. Every sample becomes
// a grey pixel, whatever the order and the method.

#include "converter/destination.h"
#include "converter/img_converter.h"

using namespace imgcnv;

namespace {

int convert_one_row(const CImgConverterC& converter, MonoLayout layout, const uint8_t* src,
                    uint8_t* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    if (converter.width < 1) return IMGCNV_SUCCESS;
    const GreyTarget target = grey_target(converter.dstFormat);
    const size_t pixels = static_cast<size_t>(converter.width);
    const size_t whole = layout == kPacked ? pixels & ~size_t{1} : pixels;
    const KernelTable& kernels = kernels_for_this_cpu();
    kernels.mono[layout][target](src, dst, whole);
    if (whole != pixels) {
        // Half a packed group: its first byte is a pixel.
        const size_t dst_bytes = static_cast<size_t>(bytes_per_pixel(converter.dstFormat));
        kernels.mono[kBytes][target](src + whole / 2 * 3, dst + whole * dst_bytes, 1);
    }
    return IMGCNV_SUCCESS;
}

}  // namespace

int CImgConverterC::convertBayer8WithOneHeight(unsigned char* src, unsigned char* dst) {
    return convert_one_row(*this, kBytes, src, dst);
}
int CImgConverterC::convertBayer10WithOneHeight(unsigned char* src, unsigned char* dst) {
    return convert_one_row(*this, kWords10, src, dst);
}
int CImgConverterC::convertBayer12WithOneHeight(unsigned char* src, unsigned char* dst) {
    return convert_one_row(*this, kWords12, src, dst);
}
int CImgConverterC::convertBayer10_12PackedWithOneHeight(unsigned char* src, unsigned char* dst) {
    return convert_one_row(*this, kPacked, src, dst);
}
