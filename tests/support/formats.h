// Every format and what a conversion of it reads, writes and reports.
#pragma once

#include <imgcnv.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace imgcnv::testing {

using PixelFormat = tagIMGCNV_EPixelFormat;
using Demosaic = tagIMGCNV_EBayerDemosaic;
using Record = tagIMGCNV_SOpenParam;

struct SourceFormat {
    const char* name;
    PixelFormat code;
    int group;        // pixels that share bytes
    int group_bytes;  // bytes of one group
};

inline constexpr SourceFormat kSources[] = {
    {"Mono1p", IMGCNV_PIXEL_MONO1P, 8, 1},
    {"Mono4p", IMGCNV_PIXEL_MONO4P, 2, 1},
    {"Mono8", IMGCNV_PIXEL_MONO8, 1, 1},
    {"Mono10", IMGCNV_PIXEL_MONO10, 1, 2},
    {"Mono10Packed", IMGCNV_PIXEL_MONO10_PACKED, 2, 3},
    {"Mono12", IMGCNV_PIXEL_MONO12, 1, 2},
    {"Mono12Packed", IMGCNV_PIXEL_MONO12_PACKED, 2, 3},
    {"Mono16", IMGCNV_PIXEL_MONO16, 1, 2},
    {"RGB8", IMGCNV_PIXEL_RGB8_PACKED, 1, 3},
    {"BGR8", IMGCNV_PIXEL_BGR8_PACKED, 1, 3},
    {"BayerRG8", IMGCNV_PIXEL_BAYER_RG8, 1, 1},
    {"BayerRG10", IMGCNV_PIXEL_BAYER_RG10, 1, 2},
    {"BayerRG10Packed", IMGCNV_PIXEL_BAYER_RG10_PACKED, 2, 3},
    {"BayerRG12", IMGCNV_PIXEL_BAYER_RG12, 1, 2},
    {"BayerRG12Packed", IMGCNV_PIXEL_BAYER_RG12_PACKED, 2, 3},
    {"BayerBG8", IMGCNV_PIXEL_BAYER_BG8, 1, 1},
    {"BayerBG10", IMGCNV_PIXEL_BAYER_BG10, 1, 2},
    {"BayerBG10Packed", IMGCNV_PIXEL_BAYER_BG10_PACKED, 2, 3},
    {"BayerBG12", IMGCNV_PIXEL_BAYER_BG12, 1, 2},
    {"BayerBG12Packed", IMGCNV_PIXEL_BAYER_BG12_PACKED, 2, 3},
    {"BayerGB8", IMGCNV_PIXEL_BAYER_GB8, 1, 1},
    {"BayerGB10", IMGCNV_PIXEL_BAYER_GB10, 1, 2},
    {"BayerGB10Packed", IMGCNV_PIXEL_BAYER_GB10_PACKED, 2, 3},
    {"BayerGB12", IMGCNV_PIXEL_BAYER_GB12, 1, 2},
    {"BayerGB12Packed", IMGCNV_PIXEL_BAYER_GB12_PACKED, 2, 3},
    {"YUV411", IMGCNV_PIXEL_YUV411_PACKED, 4, 6},
    {"YUV422", IMGCNV_PIXEL_YUV422_PACKED, 2, 4},
    {"YUV422_YUYV", IMGCNV_PIXEL_YUV422_YUYV_PACKED, 2, 4},
    {"YUV444", IMGCNV_PIXEL_YUV444_PACKED, 1, 3},
    {"Mono1C", IMGCNV_PIXEL_MONO1C, 1, 4},
};
static_assert(sizeof kSources / sizeof *kSources == 30);

// A code that is no destination; conversions take it as their documents say.
inline constexpr PixelFormat kNoDestination = static_cast<PixelFormat>(0x12345678);

inline constexpr PixelFormat kDestinations[] = {
    IMGCNV_PIXEL_MONO8,        IMGCNV_PIXEL_RGB8_PACKED,  IMGCNV_PIXEL_BGR8_PACKED,
    IMGCNV_PIXEL_RGBA8_PACKED, IMGCNV_PIXEL_BGRA8_PACKED, kNoDestination,
};

// The three orders of the five Bayer layouts.
struct BayerOrder {
    const char* name;
    PixelFormat bytes, words10, words12, packed10, packed12;
};
inline constexpr BayerOrder kOrders[] = {
    {"RG", IMGCNV_PIXEL_BAYER_RG8, IMGCNV_PIXEL_BAYER_RG10, IMGCNV_PIXEL_BAYER_RG12,
     IMGCNV_PIXEL_BAYER_RG10_PACKED, IMGCNV_PIXEL_BAYER_RG12_PACKED},
    {"GB", IMGCNV_PIXEL_BAYER_GB8, IMGCNV_PIXEL_BAYER_GB10, IMGCNV_PIXEL_BAYER_GB12,
     IMGCNV_PIXEL_BAYER_GB10_PACKED, IMGCNV_PIXEL_BAYER_GB12_PACKED},
    {"BG", IMGCNV_PIXEL_BAYER_BG8, IMGCNV_PIXEL_BAYER_BG10, IMGCNV_PIXEL_BAYER_BG12,
     IMGCNV_PIXEL_BAYER_BG10_PACKED, IMGCNV_PIXEL_BAYER_BG12_PACKED},
};

inline constexpr Demosaic kMethods[] = {IMGCNV_DEMOSAIC_NEAREST, IMGCNV_DEMOSAIC_BILINEAR,
                                        IMGCNV_DEMOSAIC_ADAPTIVE};

constexpr bool is_bayer(const SourceFormat& s) {
    return std::string_view(s.name).starts_with("Bay");
}
constexpr bool is_yuv(const SourceFormat& s) { return std::string_view(s.name).starts_with("YUV"); }
constexpr bool is_triples(const SourceFormat& s) {
    return s.code == IMGCNV_PIXEL_RGB8_PACKED || s.code == IMGCNV_PIXEL_BGR8_PACKED;
}
// Layouts whose rows do not start on a byte of their own.
constexpr bool is_stream(const SourceFormat& s) {
    return s.code == IMGCNV_PIXEL_MONO1P || s.code == IMGCNV_PIXEL_MONO4P;
}
constexpr bool is_packed_mono(const SourceFormat& s) {
    return s.code == IMGCNV_PIXEL_MONO10_PACKED || s.code == IMGCNV_PIXEL_MONO12_PACKED;
}
// Formats that IMGCNV_open reports no size for.
constexpr bool has_no_size(const SourceFormat& s) {
    return s.code == IMGCNV_PIXEL_MONO1P || s.code == IMGCNV_PIXEL_MONO16 ||
           s.code == IMGCNV_PIXEL_BGR8_PACKED;
}

constexpr int bytes_per_pixel(PixelFormat destination) {
    switch (destination) {
        case IMGCNV_PIXEL_MONO8:
            return 1;
        case IMGCNV_PIXEL_RGB8_PACKED:
        case IMGCNV_PIXEL_BGR8_PACKED:
            return 3;
        default:
            return 4;
    }
}

constexpr int round_up(int value, int unit) { return (value + unit - 1) / unit * unit; }

// Bytes of the samples of one row.
constexpr int row_bytes(const SourceFormat& s, int width) {
    const bool drops_partial_group = is_packed_mono(s);
    return (drops_partial_group ? width / s.group : round_up(width, s.group) / s.group) *
           s.group_bytes;
}

// Bytes that a conversion of this well-formed frame reads, from the first on.
constexpr size_t bytes_read(const SourceFormat& s, const Record& r, PixelFormat destination) {
    const int pixels = r.width * r.height;
    if (s.code == IMGCNV_PIXEL_MONO1P) return pixels / 8;
    if (s.code == IMGCNV_PIXEL_MONO4P) return (pixels + 1) / 2;
    if (s.code == IMGCNV_PIXEL_MONO1C) return round_up(r.dataSize, 4);
    if (is_triples(s) && destination == s.code) return r.dataSize;
    if (is_triples(s) && destination == kNoDestination) return 0;
    const int row = row_bytes(s, r.width);
    return static_cast<size_t>(r.height - 1) * (row + r.rowPadding) + row;
}

// Bytes from the first to the last that may be written.
constexpr size_t bytes_written(const SourceFormat& s, const Record& r, PixelFormat destination) {
    const size_t k = bytes_per_pixel(destination);
    const size_t pixels = static_cast<size_t>(r.width) * r.height;
    if (is_bayer(s)) {
        if (r.height == 1) return pixels * k;
        const bool unknown = destination == kNoDestination;
        return static_cast<size_t>(round_up(r.width, s.group)) * round_up(r.height, 2) *
               (unknown ? 3 : k);
    }
    if (s.code == IMGCNV_PIXEL_MONO1P) return pixels / 8 * 8;
    if (s.code == IMGCNV_PIXEL_MONO1C) return pixels;
    if (is_packed_mono(s)) return static_cast<size_t>(r.width / 2 * 2) * r.height * k;
    if (is_yuv(s)) return static_cast<size_t>(round_up(r.width, s.group)) * r.height * k;
    if (is_triples(s) && destination == s.code) return r.dataSize;
    if (is_triples(s) && destination == kNoDestination) return 0;
    return pixels * k;
}

}  // namespace imgcnv::testing
