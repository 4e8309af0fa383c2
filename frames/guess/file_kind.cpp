#include "guess/file_kind.h"

#include <algorithm>
#include <string_view>

namespace frames {
namespace {

using namespace std::string_view_literals;

struct Signature {
    std::size_t offset;
    std::string_view bytes;
    FileKind kind;
};

constexpr const char* kPicture = "it is a picture already: open it with any viewer";
constexpr const char* kVideo =
    "it is a video or a container: let ffmpeg write its frames as raw ones";
constexpr const char* kArchive = "unpack it first";
constexpr const char* kArray =
    "read it with the software that wrote it; the samples lie behind a header that names size and "
    "type";

// The longest come first where two begin alike.
constexpr Signature kSignatures[] = {
    {0, "\x89PNG\r\n\x1a\n"sv, {"a PNG picture", kPicture}},
    {0, "\xFF\xD8\xFF"sv, {"a JPEG picture", kPicture}},
    {0, "II*\0"sv, {"a TIFF picture or a camera's raw file based on it", kPicture}},
    {0, "MM\0*"sv, {"a TIFF picture or a camera's raw file based on it", kPicture}},
    {0, "II+\0"sv, {"a BigTIFF picture", kPicture}},
    {0, "MM\0+"sv, {"a BigTIFF picture", kPicture}},
    {0, "GIF8"sv, {"a GIF picture", kPicture}},
    {8, "WEBP"sv, {"a WebP picture", kPicture}},
    {8, "AVI "sv, {"an AVI video", kVideo}},
    {4, "ftyp"sv, {"an MP4, HEIF or AVIF file", kVideo}},
    {0, "\x1A\x45\xDF\xA3"sv, {"a Matroska or WebM video", kVideo}},
    {0, "YUV4MPEG2"sv, {"a YUV4MPEG2 video", kVideo}},
    {0, "\0\0\0\x0CJXL "sv, {"a JPEG XL picture", kPicture}},
    {0, "\0\0\0\x0CjP  "sv, {"a JPEG 2000 picture", kPicture}},
    {0, "qoif"sv, {"a QOI picture", kPicture}},
    {0, "\x76\x2F\x31\x01"sv, {"an OpenEXR picture", kPicture}},
    {0, "8BPS"sv, {"a Photoshop picture", kPicture}},
    {0, "\x93NUMPY"sv, {"a NumPy array", "load it with numpy.load, which knows its shape"}},
    {0, "\x89HDF\r\n\x1a\n"sv, {"an HDF5 file", kArray}},
    {0, "SIMPLE  ="sv, {"a FITS picture", kArray}},
    {0, "MATLAB 5.0"sv, {"a MATLAB file", kArray}},
    {0, "#ROSBAG"sv, {"a ROS bag", kArray}},
    {0, "PK\x03\x04"sv, {"a ZIP archive (or .npz)", kArchive}},
    {0, "\x1F\x8B\x08"sv, {"gzip data", kArchive}},
    {0,
     "\xFD"
     "7zXZ\0"sv,
     {"xz data", kArchive}},
    {0, "BZh"sv, {"bzip2 data", kArchive}},
    {0, "\x28\xB5\x2F\xFD"sv, {"Zstandard data", kArchive}},
    {0, "\x04\x22\x4D\x18"sv, {"LZ4 data", kArchive}},
    {0, "7z\xBC\xAF\x27\x1C"sv, {"a 7z archive", kArchive}},
    {0, "Rar!\x1A\x07"sv, {"a RAR archive", kArchive}},
    {257, "ustar"sv, {"a tar archive", kArchive}},
    {0,
     "\x7F"
     "ELF"sv,
     {"a program", "there are no frames in it"}},
    {0, "%PDF-"sv, {"a PDF document", "there are no raw frames in it"}},
};

bool begins_with(std::span<const std::uint8_t> start, std::size_t offset, std::string_view bytes) {
    return start.size() >= offset + bytes.size() &&
           std::equal(bytes.begin(), bytes.end(),
                      start.begin() + static_cast<std::ptrdiff_t>(offset),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

/// "P5 640 480 255": letters alone prove nothing.
bool is_netpbm(std::span<const std::uint8_t> start) {
    if (start.size() < 8 || start[0] != 'P' || start[1] < '1' || start[1] > '7') return false;
    if (start[2] != '\n' && start[2] != ' ' && start[2] != '\r') return false;
    return std::all_of(start.begin() + 3, start.begin() + 8,
                       [](std::uint8_t c) { return c == '\n' || (c >= ' ' && c < 127); });
}

bool is_bmp(std::span<const std::uint8_t> start) {
    return begins_with(start, 0, "BM"sv) && begins_with(start, 6, "\0\0\0\0"sv) &&
           start.size() > 18 && start[14] >= 12 && start[14] <= 124 && start[15] == 0;
}

}  // namespace

FileKind file_kind(std::span<const std::uint8_t> start) {
    for (const auto& signature : kSignatures)
        if (begins_with(start, signature.offset, signature.bytes)) return signature.kind;
    if (is_netpbm(start))
        return {"a PGM, PPM or PBM picture",
                "it is a picture already; its samples follow the line with the largest value"};
    if (is_bmp(start)) return {"a BMP picture", kPicture};
    return {};
}

}  // namespace frames
