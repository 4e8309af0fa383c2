// The eight one-shot functions as a table.
#pragma once

#include "support/formats.h"

namespace imgcnv::testing {

struct OneShot {
    const char* name;
    PixelFormat destination;
    bool fixed_method;  // bilinear; the last argument of call is ignored
    int (*call)(unsigned char*, Record*, unsigned char*, int*, Demosaic);
};

template <int (*function)(unsigned char*, Record*, unsigned char*, int*)>
int ignoring_method(unsigned char* src, Record* record, unsigned char* dst, int* size, Demosaic) {
    return function(src, record, dst, size);
}

inline constexpr OneShot kOneShots[] = {
    {"ConvertToMono8", IMGCNV_PIXEL_MONO8, true, ignoring_method<IMGCNV_ConvertToMono8>},
    {"ConvertToRGB24", IMGCNV_PIXEL_RGB8_PACKED, true, ignoring_method<IMGCNV_ConvertToRGB24>},
    {"ConvertToBGR24", IMGCNV_PIXEL_BGR8_PACKED, true, ignoring_method<IMGCNV_ConvertToBGR24>},
    {"ConvertToMono8_Ex", IMGCNV_PIXEL_MONO8, false, IMGCNV_ConvertToMono8_Ex},
    {"ConvertToRGB24_Ex", IMGCNV_PIXEL_RGB8_PACKED, false, IMGCNV_ConvertToRGB24_Ex},
    {"ConvertToBGR24_Ex", IMGCNV_PIXEL_BGR8_PACKED, false, IMGCNV_ConvertToBGR24_Ex},
    {"ConvertToRGBA32_Ex", IMGCNV_PIXEL_RGBA8_PACKED, false, IMGCNV_ConvertToRGBA32_Ex},
    {"ConvertToBGRA32_Ex", IMGCNV_PIXEL_BGRA8_PACKED, false, IMGCNV_ConvertToBGRA32_Ex},
};

}  // namespace imgcnv::testing
