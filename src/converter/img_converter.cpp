#include "converter/img_converter.h"

#include "converter/destination.h"
#include "converter/wrapping.h"

using imgcnv::wrapping_add;
using imgcnv::wrapping_mul;

namespace {

enum SizeRule {
    kNoSize,
    kOneByte,   // a byte per pixel, whatever the destination
    kPixels,    // every pixel
    kEvenRows,  // the same; an odd height is demosaiced with one more row
};

// The source formats, their routines and the sizes of their pictures; first match counts.
struct ConvertMapRow {
    tagIMGCNV_EPixelFormat srcFormat;
    CImgConverterC::Routine routine;
    SizeRule size_rule;
};
const ConvertMapRow RGB_CONVERT_MAP[] = {
    {IMGCNV_PIXEL_MONO1P, &CImgConverterC::convertMono1P, kNoSize},
    {IMGCNV_PIXEL_MONO4P, &CImgConverterC::convertMono4P, kPixels},
    {IMGCNV_PIXEL_MONO8, &CImgConverterC::convertMono8, kPixels},
    {IMGCNV_PIXEL_MONO10, &CImgConverterC::convertMono10, kPixels},
    {IMGCNV_PIXEL_MONO10_PACKED, &CImgConverterC::convertMono10P, kPixels},
    {IMGCNV_PIXEL_MONO12, &CImgConverterC::convertMono12, kPixels},
    {IMGCNV_PIXEL_MONO12_PACKED, &CImgConverterC::convertMono12P, kPixels},
    {IMGCNV_PIXEL_MONO16, &CImgConverterC::convertMono16, kNoSize},
    {IMGCNV_PIXEL_RGB8_PACKED, &CImgConverterC::convertRGB8, kPixels},
    {IMGCNV_PIXEL_BGR8_PACKED, &CImgConverterC::convertBGR8, kNoSize},
    {IMGCNV_PIXEL_BAYER_RG8, &CImgConverterC::convertBayerRG8, kEvenRows},
    {IMGCNV_PIXEL_BAYER_RG10, &CImgConverterC::convertBayerRG10, kEvenRows},
    {IMGCNV_PIXEL_BAYER_RG10_PACKED, &CImgConverterC::convertBayerRG10P, kEvenRows},
    {IMGCNV_PIXEL_BAYER_RG12, &CImgConverterC::convertBayerRG12, kEvenRows},
    {IMGCNV_PIXEL_BAYER_RG12_PACKED, &CImgConverterC::convertBayerRG12P, kEvenRows},
    {IMGCNV_PIXEL_BAYER_BG8, &CImgConverterC::convertBayerBG8, kEvenRows},
    {IMGCNV_PIXEL_BAYER_BG10, &CImgConverterC::convertBayerBG10, kEvenRows},
    {IMGCNV_PIXEL_BAYER_BG10_PACKED, &CImgConverterC::convertBayerBG10P, kEvenRows},
    {IMGCNV_PIXEL_BAYER_BG12, &CImgConverterC::convertBayerBG12, kEvenRows},
    {IMGCNV_PIXEL_BAYER_BG12_PACKED, &CImgConverterC::convertBayerBG12P, kEvenRows},
    {IMGCNV_PIXEL_BAYER_GB8, &CImgConverterC::convertBayerGB8, kEvenRows},
    {IMGCNV_PIXEL_BAYER_GB10, &CImgConverterC::convertBayerGB10, kEvenRows},
    {IMGCNV_PIXEL_BAYER_GB10_PACKED, &CImgConverterC::convertBayerGB10P, kEvenRows},
    {IMGCNV_PIXEL_BAYER_GB12, &CImgConverterC::convertBayerGB12, kEvenRows},
    {IMGCNV_PIXEL_BAYER_GB12_PACKED, &CImgConverterC::convertBayerGB12P, kEvenRows},
    {IMGCNV_PIXEL_YUV411_PACKED, &CImgConverterC::convertYUV411P, kPixels},
    {IMGCNV_PIXEL_YUV422_PACKED, &CImgConverterC::convertYUV422P, kPixels},
    {IMGCNV_PIXEL_YUV422_YUYV_PACKED, &CImgConverterC::convertYUV422P_YUYV, kPixels},
    {IMGCNV_PIXEL_YUV444_PACKED, &CImgConverterC::convertYUV444P, kPixels},
    {IMGCNV_PIXEL_MONO1C, &CImgConverterC::convertMono1C, kOneByte},
};

const ConvertMapRow* row_of(tagIMGCNV_EPixelFormat source) {
    for (const ConvertMapRow& row : RGB_CONVERT_MAP) {
        if (row.srcFormat == source) return &row;
    }
    return nullptr;
}

// Byte positions of the channels in the pixels of a destination, -1 = absent.
struct Destination {
    tagIMGCNV_EPixelFormat format;
    int red, green, blue, alpha;
};
constexpr Destination kDestinations[] = {
    {IMGCNV_PIXEL_BGR8_PACKED, 2, 1, 0, -1}, {IMGCNV_PIXEL_RGB8_PACKED, 0, 1, 2, -1},
    {IMGCNV_PIXEL_MONO8, -1, -1, -1, -1},    {IMGCNV_PIXEL_BGRA8_PACKED, 2, 1, 0, 3},
    {IMGCNV_PIXEL_RGBA8_PACKED, 0, 1, 2, 3},
};

}  // namespace

CImgConverterC::CImgConverterC() = default;
CImgConverterC::~CImgConverterC() = default;

int CImgConverterC::Open(tagIMGCNV_SOpenParam* param, tagIMGCNV_EPixelFormat source,
                         tagIMGCNV_EPixelFormat destination, int* dstSize,
                         tagIMGCNV_EBayerDemosaic method) {
    const ConvertMapRow* row = row_of(source);
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

    for (const Destination& known : kDestinations) {
        if (known.format != destination) continue;  // an unknown one keeps the offsets there are
        redOffset = known.red;
        greenOffset = known.green;
        blueOffset = known.blue;
        alphaOffset = known.alpha;
    }
    getBufferSize(source, destination, dstSize);
    return IMGCNV_SUCCESS;
}

int CImgConverterC::getBufferSize(tagIMGCNV_EPixelFormat source, tagIMGCNV_EPixelFormat destination,
                                  int* dstSize) {
    const ConvertMapRow* row = row_of(source);
    if (row == nullptr || row->size_rule == kNoSize) return IMGCNV_SUCCESS;
    const bool extra_row = row->size_rule == kEvenRows && height != 1 && (height & 1) != 0;
    const int rows = extra_row ? wrapping_add(height, 1) : height;
    const int bytes = row->size_rule == kOneByte ? 1 : imgcnv::bytes_per_pixel(destination);
    *dstSize = wrapping_mul(wrapping_mul(width, rows), bytes);
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
