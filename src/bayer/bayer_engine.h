// One Bayer conversion: readers, and the engine.
#pragma once

#include "bayer/bayer_frame.h"
#include "converter/wrapping.h"
#include "imgcnv.h"

namespace imgcnv {

// Byte positions of the channels within a destination pixel, -1 = absent.
struct tagConvertFormatBit {
    int redOffset;
    int greenOffset;
    int blueOffset;
    int alphaOffset;
};

// A reader says how the samples of a row lie in memory, and how many there are in `stride` bytes of
// which the last `padding` hold none.
template <MonoLayout kSamples>
struct BayerOper {
    static constexpr MonoLayout kLayout = kSamples;
    static int logicWidth(int stride, int padding) {
        constexpr SampleGroup kGroup = group_of(kLayout);
        return wrapping_sub(stride, padding) / kGroup.bytes * kGroup.samples;
    }
};
struct Bayer8Oper : BayerOper<kBytes> {};
struct Bayer10Oper : BayerOper<kWords10> {};
struct Bayer12Oper : BayerOper<kWords12> {};
// 10 and 12 bits alike: the high bytes lie in the same places.
struct Bayer10_12PackOper : BayerOper<kPacked> {};

// What is left of a conversion once the reader has spoken.
struct BayerJob {
    unsigned char* src;
    unsigned char* dst;
    int height;
    int stride;
    int logic_width;
    tagConvertFormatBit offsets;
    tagIMGCNV_EBayerDemosaic method;
    BayerOrder order;
    MonoLayout layout;
};

// IMGCNV_SUCCESS, or IMGCNV_NO_MEMORY with the destination untouched.
int run_bayer(const BayerJob& job);

}  // namespace imgcnv
