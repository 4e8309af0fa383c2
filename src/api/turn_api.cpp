// The exported mirror and rotation functions.

#include <utility>

#include "converter/destination.h"
#include "converter/frame_kernels.h"
#include "converter/wrapping.h"
#include "imgcnv.h"
#include "simd/cpu_level.h"

using namespace imgcnv;

namespace {

// Bytes a pixel when the arguments describe a picture that can be turned, else 0.
size_t turnable_pixel_bytes(const unsigned char* src, const tagIMGCNV_SOpenParam* param,
                            const unsigned char* dst, const int* dstSize) {
    if (param == nullptr || src == nullptr || dst == nullptr || dstSize == nullptr) return 0;
    if (param->width < 1 || param->height < 1 || param->dataSize < 1) return 0;
    const int bytes = bytes_per_pixel(param->pixelFormat);
    if (bytes == 4) return 0;
    if (param->dataSize != wrapping_mul(wrapping_mul(param->width, param->height), bytes)) return 0;
    return static_cast<size_t>(bytes);
}

TurnGeometry geometry(const tagIMGCNV_SOpenParam& param) {
    return {static_cast<size_t>(param.width), static_cast<size_t>(param.height)};
}

// The pixels of every row in reverse order.
void reverse_in_rows(const uint8_t* src, uint8_t* dst, TurnGeometry source, size_t bytes) {
    const size_t picture_bytes = source.width * source.height * bytes;
    const FrameKernels kernels(picture_bytes, picture_bytes);
    (bytes == 1 ? kernels->reverse1 : kernels->reverse3)(src, dst, source);
}

}  // namespace

int IMGCNV_FlipToHorizontal(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                            int* dstSize) {
    const size_t bytes = turnable_pixel_bytes(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    reverse_in_rows(src, dst, geometry(*param), bytes);
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

int IMGCNV_FlipToVertical(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    const size_t bytes = turnable_pixel_bytes(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const auto [width, height] = geometry(*param);
    const size_t row_bytes = width * bytes;
    const FrameKernels kernels(height * row_bytes, height * row_bytes);
    kernels->reverse_rows(src, dst, {row_bytes, height});
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

// The whole picture is one row to be reversed.
int IMGCNV_RotationToAngle180(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    const size_t bytes = turnable_pixel_bytes(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const auto [width, height] = geometry(*param);
    reverse_in_rows(src, dst, {width * height, 1}, bytes);
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

int IMGCNV_RotationToAngle90(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize) {
    const size_t bytes = turnable_pixel_bytes(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const KernelTable& kernels = kernels_for_this_cpu();
    (bytes == 1 ? kernels.turn90_1 : kernels.turn90_3)(src, dst, geometry(*param));
    *dstSize = param->dataSize;
    std::swap(param->width, param->height);
    return IMGCNV_SUCCESS;
}

int IMGCNV_RotationToAngle270(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    const size_t bytes = turnable_pixel_bytes(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const KernelTable& kernels = kernels_for_this_cpu();
    (bytes == 1 ? kernels.turn270_1 : kernels.turn270_3)(src, dst, geometry(*param));
    *dstSize = param->dataSize;
    std::swap(param->width, param->height);
    return IMGCNV_SUCCESS;
}
