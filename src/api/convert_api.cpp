// The exported conversion functions: argument checks, then the converter.

#include <new>

#include "converter/img_converter.h"

namespace {

bool has_size(const tagIMGCNV_SOpenParam& param) {
    return param.width >= 1 && param.height >= 1 && param.dataSize >= 1;
}

int convert_once(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst, int* dstSize,
                 tagIMGCNV_EPixelFormat dstFormat, tagIMGCNV_EBayerDemosaic demosaic) {
    if (param == nullptr || src == nullptr || dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    if (!has_size(*param)) return IMGCNV_ILLEGAL_PARAM;

    IMGCNV_HANDLE handle = nullptr;
    if (const int status = IMGCNV_open(param, dstFormat, &handle, dstSize, demosaic)) return status;
    // From here on a failure leaves the converter allocated. Callers have
    // always seen it so, and those who count allocations rely on it.
    if (*dstSize == 0) return IMGCNV_ILLEGAL_PARAM;
    if (const int status = IMGCNV_convert(handle, src, dst)) return status;
    return IMGCNV_close(handle);
}

}  // namespace

int IMGCNV_open(tagIMGCNV_SOpenParam* param, tagIMGCNV_EPixelFormat dstFormat,
                IMGCNV_HANDLE* handle, int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    if (handle == nullptr || param == nullptr || !has_size(*param)) return IMGCNV_ILLEGAL_PARAM;

    auto* converter = new (std::nothrow) CImgConverterC;
    if (converter == nullptr) return IMGCNV_NO_MEMORY;
    if (const int status =
            converter->Open(param, param->pixelFormat, dstFormat, dstSize, demosaic)) {
        delete converter;
        return status;
    }
    *handle = converter;
    return IMGCNV_SUCCESS;
}

int IMGCNV_convert(IMGCNV_HANDLE handle, unsigned char* src, unsigned char* dst) {
    if (handle == nullptr || src == nullptr || dst == nullptr) return IMGCNV_ILLEGAL_PARAM;
    return static_cast<CImgConverterC*>(handle)->Convert(src, dst);
}

int IMGCNV_close(IMGCNV_HANDLE handle) {
    if (handle == nullptr) return IMGCNV_ILLEGAL_PARAM;
    delete static_cast<CImgConverterC*>(handle);
    return IMGCNV_SUCCESS;
}

int IMGCNV_ConvertToMono8(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_MONO8, IMGCNV_DEMOSAIC_BILINEAR);
}

int IMGCNV_ConvertToRGB24(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_RGB8_PACKED,
                        IMGCNV_DEMOSAIC_BILINEAR);
}

int IMGCNV_ConvertToBGR24(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                          int* dstSize) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_BGR8_PACKED,
                        IMGCNV_DEMOSAIC_BILINEAR);
}

int IMGCNV_ConvertToMono8_Ex(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_MONO8, demosaic);
}

int IMGCNV_ConvertToRGB24_Ex(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_RGB8_PACKED, demosaic);
}

int IMGCNV_ConvertToBGR24_Ex(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                             int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_BGR8_PACKED, demosaic);
}

int IMGCNV_ConvertToRGBA32_Ex(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_RGBA8_PACKED, demosaic);
}

int IMGCNV_ConvertToBGRA32_Ex(unsigned char* src, tagIMGCNV_SOpenParam* param, unsigned char* dst,
                              int* dstSize, tagIMGCNV_EBayerDemosaic demosaic) {
    return convert_once(src, param, dst, dstSize, IMGCNV_PIXEL_BGRA8_PACKED, demosaic);
}
