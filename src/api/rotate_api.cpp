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

// Checks the arguments and calls turn(size of the picture, bytes per pixel).
template <class Turn>
int turn_picture(const unsigned char* src, const tagIMGCNV_SOpenParam* param,
                 const unsigned char* dst, int* dstSize, Turn turn) {
    const size_t bytes = pixel_bytes_of(src, param, dst, dstSize);
    if (bytes == 0) return IMGCNV_ILLEGAL_PARAM;
    turn(ImageSize{static_cast<size_t>(param->width), static_cast<size_t>(param->height)}, bytes);
    *dstSize = param->dataSize;
    return IMGCNV_SUCCESS;
}

void flip_h(const uint8_t* src, uint8_t* dst, ImageSize source, size_t bytes) {
    const size_t image_bytes = source.width * source.height * bytes;
    const KernelsForFrame kernels(image_bytes, image_bytes);
    kernels->flip_h[pixel_size(bytes)](src, dst, source);
}

using RotateKernels = RotateKernel[kPixelSizes];

int rotate(RotateKernels KernelTable::*kernels, const unsigned char* src,
           tagIMGCNV_SOpenParam* param, unsigned char* dst, int* dstSize) {
    return turn_picture(src, param, dst, dstSize, [&](ImageSize source, size_t bytes) {
        (kernels_for_this_cpu().*kernels)[pixel_size(bytes)](src, dst, source);
        std::swap(param->width, param->height);
    });
}

}  // namespace

int IMGCNV_FlipToHorizontal(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                            int* dstSize) {
    return turn_picture(src, param, dst, dstSize,
                        [&](ImageSize source, size_t bytes) { flip_h(src, dst, source, bytes); });
}

int IMGCNV_FlipToVertical(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    return turn_picture(src, param, dst, dstSize, [&](ImageSize source, size_t bytes) {
        const size_t row_bytes = source.width * bytes, image_bytes = source.height * row_bytes;
        const KernelsForFrame kernels(image_bytes, image_bytes);
        kernels->flip_v(src, dst, {row_bytes, source.height});
    });
}

// The pixels of the picture, taken as a single row, in reverse order.
int IMGCNV_RotationToAngle180(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    return turn_picture(src, param, dst, dstSize, [&](ImageSize source, size_t bytes) {
        flip_h(src, dst, {source.width * source.height, 1}, bytes);
    });
}

int IMGCNV_RotationToAngle90(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize) {
    return rotate(&KernelTable::rotate90, src, param, dst, dstSize);
}

int IMGCNV_RotationToAngle270(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize) {
    return rotate(&KernelTable::rotate270, src, param, dst, dstSize);
}
