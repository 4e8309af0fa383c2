// Mono1C: a list of grey points, 4 bytes each.
//
//   value | row 11..4 | row 3..0, column 11..8 | column 7..0
//
// Rows and columns count from 1. Four zero bytes end the list.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "converter/img_converter.h"
#include "converter/wrapping.h"

using namespace imgcnv;

int CImgConverterC::convertMono1C(unsigned char* src, unsigned char* dst) {
    if (dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    const int pixels = wrapping_mul(width, height);
    if (pixels > 0) std::memset(dst, 0, static_cast<size_t>(pixels));

    const uint8_t* point = src;
    int consumed = 0;
    while ((point[0] | point[1] | point[2] | point[3]) != 0) {
        const int row = (point[1] << 4) + (point[2] >> 4) - 1;
        const int column = ((point[2] & 0x0F) << 8) + point[3] - 1;
        // Only upper bounds: points come from a camera that counts from 1, and
        // callers who cannot trust theirs check the list first.
        if (row >= height || column >= width) return IMGCNV_ILLEGAL_PARAM;
        dst[wrapping_add(wrapping_mul(row, width), column)] = point[0];
        consumed = wrapping_add(consumed, 4);
        // Tested after a point is stored: one that begins inside dataSize is
        // read whole.
        if (consumed >= dataSize) break;
        point += 4;
    }
    return IMGCNV_SUCCESS;
}
