// The exported flip and rotation functions.

#include <utility>

#include "converter/destination.h"
#include "converter/kernels_for_frame.h"
#include "converter/wrapping.h"
#include "imgcnv.h"

using namespace imgcnv;

namespace {

// Bytes per pixel when the arguments describe a picture that can be flipped or rotated, else 0.
size_t pixel_bytes_of(const unsigned char* src, const tagIMGCNV_SOpenParam* param,
                      const unsigned char* dst, const int* dstSize) {
    if (param == nullptr || src == nullptr || dst == nullptr || dstSize == nullptr) return 0;
    if (param->width < 1 || param->height < 1 || param->dataSize < 1) return 0;
    const int bytes = bytes_per_pixel(param->pixelFormat);
    if (bytes == 4) return 0;
    if (param->dataSize != wrapping_mul(wrapping_mul(param->width, param->height), bytes)) return 0;
    return static_cast<size_t>(bytes);
}

PixelSize pixel_size(size_t bytes) { return bytes == 1 ? kOneByte : kThreeBytes; }

ImageSize size_of(const tagIMGCNV_SOpenParam& param) {
    return {static_cast<size_t>(param.width), static_cast<size_t>(param.height)};
}

void flip_h(const uint8_t* src, uint8_t* dst, ImageSize source, size_t bytes) {
    const size_t image_bytes = source.width * source.height * bytes;
    const KernelsForFrame kernels(image_bytes, image_bytes);
    kernels->flip_h[pixel_size(bytes)](src, dst, source);
}

using RotateKernels = RotateKernel[kPixelSizes];

int rotate(RotateKernels KernelTable::*kernels, const unsigned char* src,
           tagIMGCNV_SOpenParam* param, unsigned char* dst, int* dstSize) {
    const size_t bytes = pixel_bytes_of(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    (kernels_for_this_cpu().*kernels)[pixel_size(bytes)](src, dst, size_of(*param));
    *dstSize = param->dataSize;
    std::swap(param->width, param->height);
    return IMGCNV_SUCCESS;
}

}  // namespace

int IMGCNV_FlipToHorizontal(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                            int* dstSize) {
    const size_t bytes = pixel_bytes_of(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    flip_h(src, dst, size_of(*param), bytes);
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

int IMGCNV_FlipToVertical(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    const size_t bytes = pixel_bytes_of(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const auto [width, height] = size_of(*param);
    const size_t row_bytes = width * bytes;
    const KernelsForFrame kernels(height * row_bytes, height * row_bytes);
    kernels->flip_v(src, dst, {row_bytes, height});
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

// The pixels of the picture, taken as a single row, in reverse order.
int IMGCNV_RotationToAngle180(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    const size_t bytes = pixel_bytes_of(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    const auto [width, height] = size_of(*param);
    flip_h(src, dst, {width * height, 1}, bytes);
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

int IMGCNV_RotationToAngle90(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize) {
    return rotate(&KernelTable::rotate90, src, param, dst, dstSize);
}

int IMGCNV_RotationToAngle270(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    return rotate(&KernelTable::rotate270, src, param, dst, dstSize);
}
