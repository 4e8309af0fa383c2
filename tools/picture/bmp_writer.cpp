#include "errors.h"
#include "picture/encode.h"

#include <algorithm>
#include <cstring>

namespace tool {
namespace {

void put(std::vector<std::uint8_t>& out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace

// BITMAPINFOHEADER for grey (with its palette) and BGR; BITMAPV4HEADER for BGRA, the first one in
// which the fourth byte is alpha. Rows bottom-up, each padded to 4 bytes.
void encode_bmp(const Picture& picture, std::vector<std::uint8_t>& out) {
    const auto channels = picture.kind.channels;
    const std::uint64_t header = channels == 4 ? 108 : 40;
    const std::uint64_t offset = 14 + header + (channels == 1 ? 256 * 4 : 0);
    const auto row = static_cast<std::uint64_t>(picture.row_bytes());
    const auto padded_row = (row + 3) / 4 * 4;
    const auto bytes = padded_row * static_cast<std::uint64_t>(picture.height);
    if (bytes + offset > 0xFFFFFFFF)
        throw Failure("BMP: the picture is larger than the 4 GiB the format can hold; use TIFF");

    out.reserve(offset + bytes);
    out.push_back('B');
    out.push_back('M');
    put(out, offset + bytes, 4);
    put(out, 0, 4);
    put(out, offset, 4);
    put(out, header, 4);
    put(out, static_cast<std::uint64_t>(picture.width), 4);
    put(out, static_cast<std::uint64_t>(picture.height), 4);
    put(out, 1, 2);
    put(out, static_cast<std::uint64_t>(channels) * 8, 2);
    put(out, channels == 4 ? 3 : 0, 4);  // 3: bit fields, as the masks below say
    put(out, bytes, 4);
    put(out, 2835, 4);  // 72 dpi in pixels a metre
    put(out, 2835, 4);
    put(out, channels == 1 ? 256 : 0, 4);
    put(out, 0, 4);
    if (channels == 4) {
        for (const std::uint64_t mask : {0x00FF0000U, 0x0000FF00U, 0x000000FFU, 0xFF000000U})
            put(out, mask, 4);
        put(out, 0x73524742, 4);  // sRGB
        out.resize(14 + header);
    }
    if (channels == 1)
        for (std::uint64_t grey = 0; grey < 256; ++grey) put(out, grey * 0x010101, 4);
    out.resize(offset + bytes);
    for (std::int64_t y = 0; y < picture.height; ++y)
        std::memcpy(
            out.data() + offset + static_cast<std::uint64_t>(picture.height - 1 - y) * padded_row,
            picture.row(y), row);
}

}  // namespace tool
