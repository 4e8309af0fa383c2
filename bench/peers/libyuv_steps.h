// Steps that both libyuv alone and libyuv before OpenCV take.
#pragma once

#include <libyuv.h>

#include <vector>

#include "peer.h"

namespace imgcnv::bench {

// Words to bytes. The scale is 2^16 over the sample's 256th.
inline void yuv_words_to_bytes(const PeerView& v, int bits, uint8_t* dst) {
    libyuv::Convert16To8Plane(reinterpret_cast<const uint16_t*>(v.src), v.width, dst, v.width,
                              1 << (24 - bits), v.width, v.height);
}

// Packed pairs taken for RGB pixels: apart, and the outer two together again.
struct YuvPackedPairs {
    std::vector<uint8_t> first, low, second;

    explicit YuvPackedPairs(const PeerView& v)
        : first(v.pixels() / 2), low(first.size()), second(first.size()) {}

    void to_bytes(const PeerView& v, uint8_t* dst) {
        const int pairs = v.width / 2;
        libyuv::SplitRGBPlane(v.src, pairs * 3, first.data(), pairs, low.data(), pairs,
                              second.data(), pairs, pairs, v.height);
        libyuv::MergeUVPlane(first.data(), pairs, second.data(), pairs, dst, v.width, pairs,
                             v.height);
    }
};

}  // namespace imgcnv::bench
