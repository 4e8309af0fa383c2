#include "converter/img_converter.h"

#include "converter/convert_map.h"
#include "converter/destination.h"
#include "converter/wrapping.h"

using imgcnv::wrapping_add;
using imgcnv::wrapping_mul;

CImgConverterC::CImgConverterC() = default;
CImgConverterC::~CImgConverterC() = default;

int CImgConverterC::Open(tagIMGCNV_SOpenParam* param, tagIMGCNV_EPixelFormat source,
                         tagIMGCNV_EPixelFormat destination, int* dstSize,
                         tagIMGCNV_EBayerDemosaic method) {
    const ConvertMapRow* row = nullptr;
    for (const ConvertMapRow& candidate : RGB_CONVERT_MAP) {
        if (candidate.srcFormat == source) {
            row = &candidate;
            break;
        }
    }
    if (row == nullptr) return IMGCNV_NOT_SUPPORT;

    srcFormat = source;
    dstFormat = destination;
    width = param->width;
    height = param->height;
    rowPadding = param->rowPadding;
    reserved = param->reserved;
    dataSize = param->dataSize;
    convertRoutine = row->routine;
    demosaic = method;

    const auto set_offsets = [this](int red, int green, int blue, int alpha) {
        redOffset = red;
        greenOffset = green;
        blueOffset = blue;
        alphaOffset = alpha;
    };
    switch (destination) {
        case IMGCNV_PIXEL_BGR8_PACKED:
            set_offsets(2, 1, 0, -1);
            break;
        case IMGCNV_PIXEL_RGB8_PACKED:
            set_offsets(0, 1, 2, -1);
            break;
        case IMGCNV_PIXEL_MONO8:
            set_offsets(-1, -1, -1, -1);
            break;
        case IMGCNV_PIXEL_BGRA8_PACKED:
            set_offsets(2, 1, 0, 3);
            break;
        case IMGCNV_PIXEL_RGBA8_PACKED:
            set_offsets(0, 1, 2, 3);
            break;
        default:
            break;  // an unknown destination keeps the offsets there are
    }
    getBufferSize(source, destination, dstSize);
    return IMGCNV_SUCCESS;
}

int CImgConverterC::getBufferSize(tagIMGCNV_EPixelFormat source, tagIMGCNV_EPixelFormat destination,
                                  int* dstSize) {
    const int k = imgcnv::bytes_per_pixel(destination);
    switch (source) {
        case IMGCNV_PIXEL_MONO4P:
        case IMGCNV_PIXEL_MONO8:
        case IMGCNV_PIXEL_MONO10:
        case IMGCNV_PIXEL_MONO10_PACKED:
        case IMGCNV_PIXEL_MONO12:
        case IMGCNV_PIXEL_MONO12_PACKED:
        case IMGCNV_PIXEL_RGB8_PACKED:
        case IMGCNV_PIXEL_YUV411_PACKED:
        case IMGCNV_PIXEL_YUV422_PACKED:
        case IMGCNV_PIXEL_YUV422_YUYV_PACKED:
        case IMGCNV_PIXEL_YUV444_PACKED:
            *dstSize = wrapping_mul(wrapping_mul(width, height), k);
            break;

        case IMGCNV_PIXEL_BAYER_RG8:
        case IMGCNV_PIXEL_BAYER_GB8:
        case IMGCNV_PIXEL_BAYER_BG8:
        case IMGCNV_PIXEL_BAYER_RG10:
        case IMGCNV_PIXEL_BAYER_GB10:
        case IMGCNV_PIXEL_BAYER_BG10:
        case IMGCNV_PIXEL_BAYER_RG12:
        case IMGCNV_PIXEL_BAYER_GB12:
        case IMGCNV_PIXEL_BAYER_BG12:
        case IMGCNV_PIXEL_BAYER_RG10_PACKED:
        case IMGCNV_PIXEL_BAYER_GB10_PACKED:
        case IMGCNV_PIXEL_BAYER_BG10_PACKED:
        case IMGCNV_PIXEL_BAYER_RG12_PACKED:
        case IMGCNV_PIXEL_BAYER_GB12_PACKED:
        case IMGCNV_PIXEL_BAYER_BG12_PACKED: {
            // Frames of an odd height are demosaiced with one more row.
            const bool extra_row = height != 1 && (height & 1) != 0;
            const int rows = extra_row ? wrapping_add(height, 1) : height;
            *dstSize = wrapping_mul(wrapping_mul(width, k), rows);
            break;
        }

        case IMGCNV_PIXEL_MONO1C:
            *dstSize = wrapping_mul(width, height);
            break;

        default:
            break;  // Mono1p, Mono16, BGR8: no size rule
    }
    return IMGCNV_SUCCESS;
}

int CImgConverterC::Convert(unsigned char* src, unsigned char* dst) {
    if (convertRoutine == nullptr) return IMGCNV_ERR_ORDER;
    return (this->*convertRoutine)(src, dst);
}

int CImgConverterC::Close() {
    width = 0;
    height = 0;
    srcFormat = IMGCNV_PIXEL_UNDEFINED;
    return IMGCNV_SUCCESS;
}
