// The fifteen Bayer routines: three orders times five layouts.

#include "bayer/bayer_engine.h"
#include "converter/img_converter.h"

using namespace imgcnv;

namespace {

using Engine = int (*)(unsigned char*, unsigned char*, int, int, tagConvertFormatBit,
                       tagIMGCNV_EBayerDemosaic, int);

// A single row has no 2x2 cell and becomes grey; all else goes to the engine.
// Rows follow from dataSize, not from width.
int convert_bayer(CImgConverterC& converter, CImgConverterC::Routine one_row, Engine engine,
                  unsigned char* src, unsigned char* dst) {
    if (converter.height == 1) return (converter.*one_row)(src, dst);
    const int stride = converter.dataSize / converter.height;
    const tagConvertFormatBit offsets{converter.redOffset, converter.greenOffset,
                                      converter.blueOffset, converter.alphaOffset};
    return engine(src, dst, converter.height, stride, offsets, converter.demosaic,
                  converter.rowPadding);
}

}  // namespace

int CImgConverterC::convertBayerRG8(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer8WithOneHeight, convertRG<Bayer8Oper>,
                         src, dst);
}
int CImgConverterC::convertBayerRG10(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10WithOneHeight,
                         convertRG<Bayer10Oper>, src, dst);
}
int CImgConverterC::convertBayerRG10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertRG<Bayer10_12PackOper>, src, dst);
}
int CImgConverterC::convertBayerRG12(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer12WithOneHeight,
                         convertRG<Bayer12Oper>, src, dst);
}
int CImgConverterC::convertBayerRG12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertRG<Bayer10_12PackOper>, src, dst);
}
int CImgConverterC::convertBayerBG8(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer8WithOneHeight, convertBG<Bayer8Oper>,
                         src, dst);
}
int CImgConverterC::convertBayerBG10(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10WithOneHeight,
                         convertBG<Bayer10Oper>, src, dst);
}
int CImgConverterC::convertBayerBG10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertBG<Bayer10_12PackOper>, src, dst);
}
int CImgConverterC::convertBayerBG12(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer12WithOneHeight,
                         convertBG<Bayer12Oper>, src, dst);
}
int CImgConverterC::convertBayerBG12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertBG<Bayer10_12PackOper>, src, dst);
}
int CImgConverterC::convertBayerGB8(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer8WithOneHeight, convertGB<Bayer8Oper>,
                         src, dst);
}
int CImgConverterC::convertBayerGB10(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10WithOneHeight,
                         convertGB<Bayer10Oper>, src, dst);
}
int CImgConverterC::convertBayerGB10P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertGB<Bayer10_12PackOper>, src, dst);
}
int CImgConverterC::convertBayerGB12(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer12WithOneHeight,
                         convertGB<Bayer12Oper>, src, dst);
}
int CImgConverterC::convertBayerGB12P(unsigned char* src, unsigned char* dst) {
    return convert_bayer(*this, &CImgConverterC::convertBayer10_12PackedWithOneHeight,
                         convertGB<Bayer10_12PackOper>, src, dst);
}
