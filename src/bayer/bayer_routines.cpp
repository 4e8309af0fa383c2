// The fifteen Bayer routines, three orders times five layouts, and those of frames one row high.

#include "bayer/bayer_engine.h"
#include "converter/destination.h"
#include "converter/img_converter.h"

using namespace imgcnv;

namespace {

// A single row has no 2x2 cell, hence no colour. Every sample becomes a grey pixel, whatever the
// order and the method.
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
        kernels.mono[kBytes][target](src + whole / 2 * 3, dst + whole * bytes_of(target), 1);
    }
    return IMGCNV_SUCCESS;
}

// Rows follow from dataSize, not from width.
template <class Reader>
int convert_bayer(const CImgConverterC& converter, BayerOrder order, unsigned char* src,
                  unsigned char* dst) {
    if (converter.height == 1) return convert_one_row(converter, Reader::kLayout, src, dst);
    const int stride = converter.dataSize / converter.height;
    const int logic_width = Reader::logicWidth(stride, converter.rowPadding);
    const tagConvertFormatBit offsets{converter.redOffset, converter.greenOffset,
                                      converter.blueOffset, converter.alphaOffset};
    return run_bayer({src, dst, converter.height, stride, logic_width, offsets, converter.demosaic,
                      order, Reader::kLayout});
}

}  // namespace

int CImgConverterC::convertBayerRG8(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer8Oper>(*this, BayerOrder::RG, src, dst);
}
int CImgConverterC::convertBayerRG10(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10Oper>(*this, BayerOrder::RG, src, dst);
}
int CImgConverterC::convertBayerRG10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::RG, src, dst);
}
int CImgConverterC::convertBayerRG12(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer12Oper>(*this, BayerOrder::RG, src, dst);
}
int CImgConverterC::convertBayerRG12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::RG, src, dst);
}
int CImgConverterC::convertBayerBG8(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer8Oper>(*this, BayerOrder::BG, src, dst);
}
int CImgConverterC::convertBayerBG10(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10Oper>(*this, BayerOrder::BG, src, dst);
}
int CImgConverterC::convertBayerBG10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::BG, src, dst);
}
int CImgConverterC::convertBayerBG12(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer12Oper>(*this, BayerOrder::BG, src, dst);
}
int CImgConverterC::convertBayerBG12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::BG, src, dst);
}
int CImgConverterC::convertBayerGB8(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer8Oper>(*this, BayerOrder::GB, src, dst);
}
int CImgConverterC::convertBayerGB10(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10Oper>(*this, BayerOrder::GB, src, dst);
}
int CImgConverterC::convertBayerGB10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::GB, src, dst);
}
int CImgConverterC::convertBayerGB12(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer12Oper>(*this, BayerOrder::GB, src, dst);
}
int CImgConverterC::convertBayerGB12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer<Bayer10_12PackOper>(*this, BayerOrder::GB, src, dst);
}
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
