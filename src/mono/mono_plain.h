// Monochrome sources, the plain definition: the 8-bit value of sample i.
//
//   bits     byte 0: p7 p6 p5 p4 p3 p2 p1 p0 (most significant bit first)
//   nibbles  byte 0: p1 p0
//   bytes    p0 | p1 | ...
//   words    16-bit little-endian, value in the low 10, 12 or all 16 bits
//   packed   p0 high 8 | low bits of p0 and p1 | p1 high 8
//
// The high bits are kept and the low ones dropped; bits above a word's depth are
// not masked but shifted out. A nibble lands in the high half of its byte and is
// not repeated in the low half: 0xF becomes 0xF0.
#pragma once

#include <cstddef>
#include <cstring>

#include "simd/kernel_table.h"

namespace imgcnv {

template <MonoLayout kLayout>
inline uint8_t mono_sample(const uint8_t* src, size_t i) {
    const auto word = [&] { return src[2 * i] | src[2 * i + 1] << 8; };
    if constexpr (kLayout == kBits1) {
        return (src[i / 8] >> (i % 8) & 1) != 0 ? 0xFF : 0x00;
    } else if constexpr (kLayout == kNibbles) {
        return static_cast<uint8_t>(i % 2 == 0 ? src[i / 2] << 4 : src[i / 2] & 0xF0);
    } else if constexpr (kLayout == kBytes) {
        return src[i];
    } else if constexpr (kLayout == kWords10) {
        return static_cast<uint8_t>(word() >> 2);
    } else if constexpr (kLayout == kWords12) {
        return static_cast<uint8_t>(word() >> 4);
    } else if constexpr (kLayout == kWords16) {
        return src[2 * i + 1];
    } else {
        return src[i / 2 * 3 + i % 2 * 2];
    }
}

template <GreyTarget kTarget>
inline void store_grey(uint8_t* dst, size_t i, uint8_t grey) {
    if constexpr (kTarget == kGrey1) {
        dst[i] = grey;
    } else {
        uint8_t* pixel = dst + i * bytes_of(kTarget);
        pixel[0] = pixel[1] = pixel[2] = grey;
        if constexpr (kTarget == kGrey4) pixel[3] = 0;
    }
}

template <MonoLayout kLayout, GreyTarget kTarget>
void mono_row_plain(const uint8_t* src, uint8_t* dst, size_t pixels) {
    if constexpr (kLayout == kBytes && kTarget == kGrey1) {
        std::memcpy(dst, src, pixels);  // flips and copies of whole pictures go this way, too
    } else {
        for (size_t i = 0; i < pixels; ++i)
            store_grey<kTarget>(dst, i, mono_sample<kLayout>(src, i));
    }
}

}  // namespace imgcnv
