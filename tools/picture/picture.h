#pragma once

#include "imgcnv.h"

#include <cstdint>

namespace tool {

constexpr int bytesPerPixel(IMGCNV_EPixelFormat kind) {
    switch (kind) {
        case IMGCNV_PIXEL_MONO8:
            return 1;
        case IMGCNV_PIXEL_RGB8_PACKED:
        case IMGCNV_PIXEL_BGR8_PACKED:
            return 3;
        default:
            return 4;
    }
}

/// Converted pixels, rows without gaps, in memory of somebody else.
struct Picture {
    std::int64_t width = 0;
    std::int64_t height = 0;
    IMGCNV_EPixelFormat kind = IMGCNV_PIXEL_MONO8;
    std::uint8_t* pixels = nullptr;

    std::int64_t rowBytes() const { return width * bytesPerPixel(kind); }
    std::int64_t bytes() const { return rowBytes() * height; }
};

}  // namespace tool
