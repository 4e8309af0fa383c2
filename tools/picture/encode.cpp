#include "picture/encode.h"

#include "errors.h"

#include <cstring>
#include <string>

namespace tool {
namespace {

void make_opaque(const Picture& picture) {
    auto* alpha = picture.pixels + 3;
    for (std::int64_t i = 0, n = picture.width * picture.height; i < n; ++i) alpha[4 * i] = 255;
}

}  // namespace

std::optional<FileKind> file_kind_named(std::string_view ending_or_name) {
    const auto dot = ending_or_name.rfind('.');
    if (dot != std::string_view::npos) ending_or_name.remove_prefix(dot + 1);
    std::string name;
    for (const char c : ending_or_name)
        name += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    if (name == "png") return FileKind::Png;
    if (name == "pnm" || name == "pgm" || name == "ppm") return FileKind::Pnm;
    if (name == "tiff" || name == "tif") return FileKind::Tiff;
    if (name == "bmp") return FileKind::Bmp;
    if (name == "raw" || name == "bin") return FileKind::Raw;
    return std::nullopt;
}

IMGCNV_EPixelFormat stored_kind(FileKind file, IMGCNV_EPixelFormat asked) {
    if (file == FileKind::Raw || asked == IMGCNV_PIXEL_MONO8) return asked;
    const bool alpha = bytesPerPixel(asked) == 4;
    if (alpha && file == FileKind::Pnm)
        throw UsageError("PNM has no alpha channel: use --to rgb24, or PNG, TIFF or BMP");
    if (file == FileKind::Bmp) return alpha ? IMGCNV_PIXEL_BGRA8_PACKED : IMGCNV_PIXEL_BGR8_PACKED;
    return alpha ? IMGCNV_PIXEL_RGBA8_PACKED : IMGCNV_PIXEL_RGB8_PACKED;
}

void encode(Picture picture, FileKind file, int png_level, EncodedFile& out) {
    out.head.clear();
    out.body = {};
    if (file != FileKind::Raw && bytesPerPixel(picture.kind) == 4) make_opaque(picture);
    switch (file) {
        case FileKind::Png:
            encode_png(picture, png_level, out.head);
            break;
        case FileKind::Tiff:
            encode_tiff(picture, out.head);
            break;
        case FileKind::Bmp:
            encode_bmp(picture, out.head);
            break;
        case FileKind::Pnm: {
            const auto text = std::string(picture.kind == IMGCNV_PIXEL_MONO8 ? "P5\n" : "P6\n") +
                              std::to_string(picture.width) + " " + std::to_string(picture.height) +
                              "\n255\n";
            out.head.assign(text.begin(), text.end());
            [[fallthrough]];
        }
        case FileKind::Raw:
            out.body = {picture.pixels, static_cast<std::size_t>(picture.bytes())};
    }
}

}  // namespace tool
