// What a destination code asks for.
#pragma once

#include "imgcnv.h"
#include "simd/kernel_table.h"

namespace imgcnv {

// 1 for Mono8, 3 for RGB24 and BGR24, 4 for every other code, known or not.
constexpr int bytes_per_pixel(tagIMGCNV_EPixelFormat dst) {
    if (dst == IMGCNV_PIXEL_MONO8) return 1;
    if (dst == IMGCNV_PIXEL_RGB8_PACKED || dst == IMGCNV_PIXEL_BGR8_PACKED) return 3;
    return 4;
}

constexpr GreyTarget grey_target(tagIMGCNV_EPixelFormat dst) {
    const int bytes = bytes_per_pixel(dst);
    return bytes == 1 ? kGrey1 : bytes == 3 ? kGrey3 : kGrey4;
}

// The target for channels of which the first, or the last, is the one that stands
// at byte 0 of a destination pixel (for one byte per pixel: is red).
constexpr ColorTarget color_target(int bytes, bool first_leads) {
    if (bytes == 1) return first_leads ? kLumaRedFirst : kLumaRedLast;
    if (bytes == 3) return first_leads ? kAbc : kCba;
    return first_leads ? kAbc0 : kCba0;
}

}  // namespace imgcnv
