#include "picture/encode.h"

#include "engine/converter.h"
#include "errors.h"

#include <bit>
#include <cstring>
#include <string>
#include <utility>

namespace tool {
namespace {

constexpr std::pair<std::string_view, FileKind> kKinds[]{
    {"png", FileKind::Png},  {"jpg", FileKind::Jpeg},  {"jpeg", FileKind::Jpeg},
    {"tif", FileKind::Tiff}, {"tiff", FileKind::Tiff}, {"bmp", FileKind::Bmp},
    {"pnm", FileKind::Pnm},  {"pgm", FileKind::Pgm},   {"ppm", FileKind::Ppm},
    {"npy", FileKind::Npy},  {"raw", FileKind::Raw},   {"bin", FileKind::Raw}};

/// Samples of 16 bits in the order of bytes that the kind of file prescribes.
void order_bytes(const Picture& picture, FileKind file) {
    const bool big = file == FileKind::Png || file == FileKind::Pnm || file == FileKind::Pgm ||
                     file == FileKind::Ppm;
    const bool little = file == FileKind::Npy || file == FileKind::Raw;
    constexpr bool kLittleHere = std::endian::native == std::endian::little;
    if (!(kLittleHere ? big : little)) return;
    for (std::int64_t i = 0, n = picture.bytes(); i < n; i += 2)
        std::swap(picture.pixels[i], picture.pixels[i + 1]);
}

std::string pnm_head(const Picture& picture) {
    return std::string(picture.kind.is_color() ? "P6\n" : "P5\n") + std::to_string(picture.width) +
           " " + std::to_string(picture.height) +
           (picture.kind.is_deep() ? "\n65535\n" : "\n255\n");
}

/// The header of NumPy's files: a version, a length, a Python dictionary padded to 64 bytes.
std::string npy_head(const Picture& picture) {
    std::string text = std::string("{'descr': '") + (picture.kind.is_deep() ? "<u2" : "|u1") +
                       "', 'fortran_order': False, 'shape': (" + std::to_string(picture.height) +
                       ", " + std::to_string(picture.width);
    if (picture.kind.is_color()) text += ", " + std::to_string(picture.kind.channels);
    text += "), }";
    constexpr std::size_t kBefore = 10, kUnit = 64;
    text.append(kUnit - 1 - (kBefore + text.size()) % kUnit, ' ');
    text += '\n';
    std::string head("\x93NUMPY\x01\x00", 8);
    head += static_cast<char>(text.size() & 0xFF);
    head += static_cast<char>(text.size() >> 8);
    return head + text;
}

}  // namespace

std::optional<FileKind> file_kind_named(std::string_view ending_or_name) {
    const auto dot = ending_or_name.rfind('.');
    if (dot != std::string_view::npos) ending_or_name.remove_prefix(dot + 1);
    std::string name;
    for (const char c : ending_or_name)
        name += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    for (const auto& [known, kind] : kKinds)
        if (name == known) return kind;
    return std::nullopt;
}

namespace {

int usual_target(FileKind file, const Format& source) {
    const bool in_color = file == FileKind::Ppm || (file != FileKind::Pgm && source.is_color != 0);
    return in_color ? IMGCNV_TARGET_RGB24 : IMGCNV_TARGET_MONO8;
}

/// Throws UsageError for pixels that files of a kind do not hold.
void check_fits(FileKind file, PixelKind kind) {
    if (file == FileKind::Pgm && kind.is_color())
        throw UsageError(".pgm holds grey pictures: use .ppm, or --to mono8");
    if (file == FileKind::Ppm && !kind.is_color())
        throw UsageError(".ppm holds colour pictures: use .pgm, or --to rgb24");
    const bool alpha_fits =
        file == FileKind::Png || file == FileKind::Tiff || file == FileKind::Bmp;
    if (kind.has_alpha() && !alpha_fits)
        throw UsageError(std::string(file == FileKind::Jpeg ? "JPEG" : "PNM") +
                         " has no alpha channel: use --to rgb24, or PNG, TIFF or BMP");
    if (kind.is_deep() && (file == FileKind::Jpeg || file == FileKind::Bmp))
        throw UsageError(std::string(file == FileKind::Jpeg ? "JPEG" : "BMP") +
                         " holds 8 bits per sample: use PNG, TIFF, PNM or .npy, or an 8-bit --to");
}

/// The same pixels in the order of colours that files of a kind have.
int in_order_of(FileKind file, int target) {
    const bool is_blue_first = file == FileKind::Bmp;
    switch (target) {
        case IMGCNV_TARGET_RGB24:
        case IMGCNV_TARGET_BGR24:
            return is_blue_first ? IMGCNV_TARGET_BGR24 : IMGCNV_TARGET_RGB24;
        case IMGCNV_TARGET_RGBA32:
        case IMGCNV_TARGET_BGRA32:
            return is_blue_first ? IMGCNV_TARGET_BGRA32 : IMGCNV_TARGET_RGBA32;
        case IMGCNV_TARGET_BGR48:
            return IMGCNV_TARGET_RGB48;
        default:
            return target;
    }
}

}  // namespace

int stored_target(FileKind file, std::optional<int> asked, const Format& source) {
    const int target = asked.value_or(usual_target(file, source));
    if (file == FileKind::Raw || file == FileKind::Npy) return target;
    check_fits(file, pixel_kind(target, source));
    return in_order_of(file, target);
}

void encode(Picture picture, const EncodeOptions& options, EncodedFile& out) {
    out.head.clear();
    out.body = {};
    const auto file = options.kind;
    if (picture.kind.is_deep()) order_bytes(picture, file);
    const auto put_head = [&](const std::string& text) {
        out.head.assign(text.begin(), text.end());
        out.body = {picture.pixels, static_cast<std::size_t>(picture.bytes())};
    };
    switch (file) {
        case FileKind::Png:
            return encode_png(picture, options.level, out.head);
        case FileKind::Jpeg:
            return encode_jpeg(picture, options.quality, out.head);
        case FileKind::Tiff:
            return encode_tiff(picture, options.compression, options.level, out.head);
        case FileKind::Bmp:
            return encode_bmp(picture, out.head);
        case FileKind::Pnm:
        case FileKind::Pgm:
        case FileKind::Ppm:
            return put_head(pnm_head(picture));
        case FileKind::Npy:
            return put_head(npy_head(picture));
        case FileKind::Raw:
            return put_head("");
    }
}

}  // namespace tool
