// One Bayer conversion: readers, and the engine of each colour order.
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

// A reader says how the samples of a row lie in memory, and how many there are
// in `stride` bytes of which the last `padding` hold none.
struct Bayer8Oper {
    static constexpr MonoLayout kLayout = kBytes;
    static constexpr size_t kBytesPerPair = 2;
    static int logicWidth(int stride, int padding) { return wrapping_sub(stride, padding); }
};

struct Bayer10Oper {
    static constexpr MonoLayout kLayout = kWords10;
    static constexpr size_t kBytesPerPair = 4;
    static int logicWidth(int stride, int padding) { return wrapping_sub(stride, padding) >> 1; }
};

struct Bayer12Oper {
    static constexpr MonoLayout kLayout = kWords12;
    static constexpr size_t kBytesPerPair = 4;
    static int logicWidth(int stride, int padding) { return wrapping_sub(stride, padding) >> 1; }
};

// 10 and 12 bits alike: the high bytes lie in the same places.
struct Bayer10_12PackOper {
    static constexpr MonoLayout kLayout = kPacked;
    static constexpr size_t kBytesPerPair = 3;
    static int logicWidth(int stride, int padding) { return wrapping_sub(stride, padding) / 3 * 2; }
};

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
    size_t bytes_per_pair;
};

// IMGCNV_SUCCESS, or IMGCNV_NO_MEMORY with the destination untouched.
int run_bayer(const BayerJob& job);

template <class Reader>
int run_bayer_with(BayerOrder order, unsigned char* src, unsigned char* dst, int height, int stride,
                   tagConvertFormatBit offsets, tagIMGCNV_EBayerDemosaic method, int padding) {
    return run_bayer({src, dst, height, stride, Reader::logicWidth(stride, padding), offsets,
                      method, order, Reader::kLayout, Reader::kBytesPerPair});
}

template <class Reader>
int convertRG(unsigned char* src, unsigned char* dst, int height, int stride,
              tagConvertFormatBit offsets, tagIMGCNV_EBayerDemosaic method, int padding) {
    return run_bayer_with<Reader>(BayerOrder::RG, src, dst, height, stride, offsets, method,
                                  padding);
}

template <class Reader>
int convertGB(unsigned char* src, unsigned char* dst, int height, int stride,
              tagConvertFormatBit offsets, tagIMGCNV_EBayerDemosaic method, int padding) {
    return run_bayer_with<Reader>(BayerOrder::GB, src, dst, height, stride, offsets, method,
                                  padding);
}

template <class Reader>
int convertBG(unsigned char* src, unsigned char* dst, int height, int stride,
              tagConvertFormatBit offsets, tagIMGCNV_EBayerDemosaic method, int padding) {
    return run_bayer_with<Reader>(BayerOrder::BG, src, dst, height, stride, offsets, method,
                                  padding);
}

}  // namespace imgcnv
