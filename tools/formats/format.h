#pragma once

#include "imgcnv.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// How samples lie in a row.
enum class Layout {
    Bits,     ///< 8 pixels a byte, first in bit 0
    Nibbles,  ///< 2 pixels a byte, first in bits 0..3
    Bytes,    ///< 1 sample a byte
    Words,    ///< 16-bit little-endian words, sample in the low bits
    Packed,   ///< 2 samples in 3 bytes: high bits, low bits of both, high bits
    Rgb,
    Bgr,
    Uyyvyy,  ///< U Y0 Y1 V Y2 Y3
    Uyvy,    ///< U Y0 V Y1
    Yuyv,    ///< Y0 U Y1 V
    Uyv,
    Points,  ///< a list of 4-byte records: value, 12-bit row, 12-bit column
};

/// The first two samples of a mosaic's first row.
enum class Order { None, RG, GB, BG, GR };

struct SourceFormat {
    std::string_view name;
    std::uint32_t code;
    IMGCNV_EPixelFormat libraryFormat;
    std::string_view enumerator;  ///< of libraryFormat
    int bits;                     ///< a pixel in the buffer
    int depth;                    ///< of a sample
    Layout layout;
    Order order;
    std::string_view pfnc, gstreamer, v4l2, ffmpeg, ros;  ///< names, separated by blanks

    bool isBayer() const { return order != Order::None; }
    bool isColor() const { return isBayer() || layout >= Layout::Rgb; }
    bool isGrey() const { return !isColor() || layout == Layout::Points; }
};

struct ForeignFormat {
    std::string_view names;
    std::string_view meaning;
    std::string_view advice;
};

std::span<const SourceFormat> sourceFormats();
std::span<const ForeignFormat> foreignFormats();

/// The format with this name or hexadecimal code; nullptr when there is none.
const SourceFormat* findFormat(std::string_view name);

/// The same, but a name that is none is explained in a UsageError.
const SourceFormat& formatNamed(std::string_view name);

/// Lower case without underscores, blanks, dashes and the prefixes of other headers.
std::string normalizedName(std::string_view name);

std::vector<std::string> words(std::string_view text);
std::string_view layoutName(Layout layout);
std::string_view orderName(Order order);
std::string hexCode(std::uint32_t code);

}  // namespace tool
