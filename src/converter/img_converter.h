// CImgConverterC: one configured conversion. A public handle is its address.
#pragma once

#include "imgcnv.h"

class IMGCNV_API CImgConverterC {
  public:
    CImgConverterC();
    virtual ~CImgConverterC();

    // Chooses the routine of srcFormat and keeps everything a conversion needs.
    // IMGCNV_NOT_SUPPORT, with nothing changed, when srcFormat has no routine.
    int Open(tagIMGCNV_SOpenParam* param, tagIMGCNV_EPixelFormat srcFormat,
             tagIMGCNV_EPixelFormat dstFormat, int* dstSize, tagIMGCNV_EBayerDemosaic method);

    // Writes the number of destination bytes, or nothing for formats without a
    // size rule (Mono1p, Mono16, BGR8). Always 0.
    int getBufferSize(tagIMGCNV_EPixelFormat srcFormat, tagIMGCNV_EPixelFormat dstFormat,
                      int* dstSize);

    // Runs the kept routine; IMGCNV_ERR_ORDER when there is none.
    int Convert(unsigned char* src, unsigned char* dst);

    // Forgets size and source format, and nothing else. Always 0.
    int Close();

    using Routine = int (CImgConverterC::*)(unsigned char* src, unsigned char* dst);

    // src/mono
    int convertMono1P(unsigned char* src, unsigned char* dst);
    int convertMono4P(unsigned char* src, unsigned char* dst);
    int convertMono8(unsigned char* src, unsigned char* dst);
    int convertMono10(unsigned char* src, unsigned char* dst);
    int convertMono10P(unsigned char* src, unsigned char* dst);
    int convertMono12(unsigned char* src, unsigned char* dst);
    int convertMono12P(unsigned char* src, unsigned char* dst);
    int convertMono16(unsigned char* src, unsigned char* dst);
    int convertMono1C(unsigned char* src, unsigned char* dst);

    // src/color
    int convertRGB8(unsigned char* src, unsigned char* dst);
    int convertBGR8(unsigned char* src, unsigned char* dst);
    int convertYUV411P(unsigned char* src, unsigned char* dst);
    int convertYUV422P(unsigned char* src, unsigned char* dst);
    int convertYUV422P_YUYV(unsigned char* src, unsigned char* dst);
    int convertYUV444P(unsigned char* src, unsigned char* dst);

    // src/bayer
    int convertBayerRG8(unsigned char* src, unsigned char* dst);
    int convertBayerRG10(unsigned char* src, unsigned char* dst);
    int convertBayerRG10P(unsigned char* src, unsigned char* dst);
    int convertBayerRG12(unsigned char* src, unsigned char* dst);
    int convertBayerRG12P(unsigned char* src, unsigned char* dst);
    int convertBayerBG8(unsigned char* src, unsigned char* dst);
    int convertBayerBG10(unsigned char* src, unsigned char* dst);
    int convertBayerBG10P(unsigned char* src, unsigned char* dst);
    int convertBayerBG12(unsigned char* src, unsigned char* dst);
    int convertBayerBG12P(unsigned char* src, unsigned char* dst);
    int convertBayerGB8(unsigned char* src, unsigned char* dst);
    int convertBayerGB10(unsigned char* src, unsigned char* dst);
    int convertBayerGB10P(unsigned char* src, unsigned char* dst);
    int convertBayerGB12(unsigned char* src, unsigned char* dst);
    int convertBayerGB12P(unsigned char* src, unsigned char* dst);
    int convertBayer8WithOneHeight(unsigned char* src, unsigned char* dst);
    int convertBayer10WithOneHeight(unsigned char* src, unsigned char* dst);
    int convertBayer12WithOneHeight(unsigned char* src, unsigned char* dst);
    int convertBayer10_12PackedWithOneHeight(unsigned char* src, unsigned char* dst);

    int width = 0;
    int height = 0;
    int rowPadding = 0;
    int reserved = 0;
    int dataSize = 0;
    tagIMGCNV_EPixelFormat srcFormat = IMGCNV_PIXEL_UNDEFINED;
    tagIMGCNV_EPixelFormat dstFormat = IMGCNV_PIXEL_UNDEFINED;
    // Byte positions of the channels in a destination pixel, -1 = absent.
    int redOffset = 2;
    int greenOffset = 1;
    int blueOffset = 0;
    int alphaOffset = -1;
    tagIMGCNV_EBayerDemosaic demosaic = IMGCNV_DEMOSAIC_NEAREST;
    Routine convertRoutine = nullptr;
};
