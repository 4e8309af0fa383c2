#include "formats/format.h"

#include <numeric>

namespace frames {
namespace {

enum class ReadBy { Core, Own };

constexpr int bits_per_pixel(std::uint32_t code) { return static_cast<int>(code >> 16 & 0xFF); }

constexpr int group_pixels(imgcnv_layout layout, int bits) {
    if (layout == IMGCNV_LAYOUT_UYYVYY) return 4;
    if (layout == IMGCNV_LAYOUT_UYVY || layout == IMGCNV_LAYOUT_YUYV) return 2;
    return 8 / std::gcd(bits, 8);
}

constexpr const char* layout_text(imgcnv_layout layout, int depth) {
    switch (layout) {
        case IMGCNV_LAYOUT_LSB_FIRST:
            if (depth == 1) return "8 pixels per byte, first in bit 0";
            if (depth == 2) return "4 pixels per byte, first in bits 0..1";
            if (depth == 4) return "2 pixels per byte, first in bits 0..3";
            if (depth == 10) return "4 pixels in 5 bytes: one stream of bits, first pixel lowest";
            if (depth == 12) return "2 pixels in 3 bytes: one stream of bits, first pixel lowest";
            return "4 pixels in 7 bytes: one stream of bits, first pixel lowest";
        case IMGCNV_LAYOUT_BYTES:
            return "1 byte per pixel";
        case IMGCNV_LAYOUT_WORDS:
            return "16-bit little-endian words";
        case IMGCNV_LAYOUT_PACKED:
            return "2 pixels in 3 bytes: high, low bits of both, high";
        case IMGCNV_LAYOUT_MIPI:
            if (depth == 10) return "4 pixels in 5 bytes: 4 high bytes, then the low bits of all";
            if (depth == 12) return "2 pixels in 3 bytes: 2 high bytes, then the low bits of both";
            return "4 pixels in 7 bytes: 4 high bytes, then the low bits of all";
        case IMGCNV_LAYOUT_RGB:
            return depth == 8 ? "R G B" : "R G B, 16-bit little-endian words";
        case IMGCNV_LAYOUT_BGR:
            return depth == 8 ? "B G R" : "B G R, 16-bit little-endian words";
        case IMGCNV_LAYOUT_RGBA:
            return "R G B alpha";
        case IMGCNV_LAYOUT_BGRA:
            return "B G R alpha";
        case IMGCNV_LAYOUT_UYYVYY:
            return "U Y0 Y1 V Y2 Y3, 4 pixels";
        case IMGCNV_LAYOUT_UYVY:
            return "U Y0 V Y1, 2 pixels";
        case IMGCNV_LAYOUT_YUYV:
            return "Y0 U Y1 V, 2 pixels";
        case IMGCNV_LAYOUT_UYV:
            return "U Y V";
        case IMGCNV_LAYOUT_POINTS:
            return "list of points: value, 12-bit row, 12-bit column";
    }
    return "";
}

/// OpenCV demosaics bytes and 16-bit words. It names a mosaic by the second and third sample of
/// its second row, and in newer names by the first cell.
constexpr const char* opencv_names(imgcnv_layout layout, imgcnv_bayer_order order, int depth) {
    const bool is_readable = layout == IMGCNV_LAYOUT_BYTES || layout == IMGCNV_LAYOUT_WORDS;
    if (order != IMGCNV_ORDER_NONE && !is_readable) return "";
    switch (order) {
        case IMGCNV_ORDER_RG:
            return "COLOR_BayerBG2BGR COLOR_BayerRGGB2BGR";
        case IMGCNV_ORDER_GB:
            return "COLOR_BayerGR2BGR COLOR_BayerGBRG2BGR";
        case IMGCNV_ORDER_BG:
            return "COLOR_BayerRG2BGR COLOR_BayerBGGR2BGR";
        case IMGCNV_ORDER_GR:
            return "COLOR_BayerGB2BGR COLOR_BayerGRBG2BGR";
        case IMGCNV_ORDER_NONE:
            break;
    }
    if (layout == IMGCNV_LAYOUT_UYVY) return "COLOR_YUV2BGR_UYVY";
    if (layout == IMGCNV_LAYOUT_YUYV) return "COLOR_YUV2BGR_YUY2";
    if (layout == IMGCNV_LAYOUT_RGBA) return "COLOR_RGBA2BGR";
    if (layout == IMGCNV_LAYOUT_BGRA) return "COLOR_BGRA2BGR";
    if (layout == IMGCNV_LAYOUT_RGB && (depth == 8 || depth == 16)) return "COLOR_RGB2BGR";
    return "";
}

constexpr Format row(const char* name, std::uint32_t code, int depth, imgcnv_layout layout,
                     imgcnv_bayer_order order, ReadBy read_by, const char* pfnc,
                     const char* gstreamer, const char* v4l2, const char* ffmpeg, const char* ros) {
    const auto bits = bits_per_pixel(code);
    const auto pixels = group_pixels(layout, bits);
    const bool is_color = order != IMGCNV_ORDER_NONE ||
                          (layout >= IMGCNV_LAYOUT_RGB && layout != IMGCNV_LAYOUT_POINTS);
    return {.struct_size = sizeof(Format),
            .code = code,
            .bits_per_pixel = bits,
            .depth = depth,
            .layout = layout,
            .order = order,
            .is_color = is_color,
            .group_pixels = pixels,
            .group_bytes = pixels * bits / 8,
            .in_core = read_by == ReadBy::Core,
            .name = name,
            .layout_text = layout_text(layout, depth),
            .pfnc = pfnc,
            .gstreamer = gstreamer,
            .v4l2 = v4l2,
            .ffmpeg = ffmpeg,
            .ros = ros,
            .opencv = opencv_names(layout, order, depth)};
}

#define FORMAT(name, code, depth, layout, order, read_by, pfnc, gstreamer, v4l2, ffmpeg, ros)   \
    row(name, code, depth, IMGCNV_LAYOUT_##layout, IMGCNV_ORDER_##order, ReadBy::read_by, pfnc, \
        gstreamer, v4l2, ffmpeg, ros),
constexpr Format kFormats[] = {
#include "formats/formats.def"
};

}  // namespace

std::span<const Format> formats() { return kFormats; }

const Format* format_of_code(std::uint32_t code) {
    for (const auto& format : kFormats)
        if (format.code == code) return &format;
    return nullptr;
}

const Format* with_order(const Format& format, imgcnv_bayer_order order) {
    for (const auto& other : kFormats)
        if (other.layout == format.layout && other.depth == format.depth && other.order == order)
            return &other;
    return nullptr;
}

}  // namespace frames
