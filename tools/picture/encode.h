#pragma once

#include "engine/frame.h"
#include "picture/picture.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tool {

enum class FileKind { Png, Jpeg, Tiff, Bmp, Pnm, Pgm, Ppm, Npy, Raw };
enum class TiffCompression { None, Deflate, Zstd };

/// How pictures become files. What does not concern the kind of file is not looked at.
struct EncodeOptions {
    FileKind kind = FileKind::Png;
    int level = 1;     ///< 0 to 12: of PNG and of compressed TIFF
    int quality = 90;  ///< 1 to 100: of JPEG
    TiffCompression compression = TiffCompression::None;
};

/// By the ending of a file name or the name of a kind ("png"); absent when it is neither.
std::optional<FileKind> file_kind_named(std::string_view ending_or_name);

/// The endings that file_kind_named() knows, for messages.
constexpr std::string_view kEndings =
    ".png, .jpg, .jpeg, .tiff, .tif, .bmp, .pnm, .pgm, .ppm, .npy or .raw";

/// The target (imgcnv_target_kind) whose pixels a file of this kind stores when `asked` was asked
/// for, or, when nothing was, for a source of this format. RGB and BGR are the same picture in a
/// file: each kind of file has its own order. Throws UsageError for what the kind cannot hold.
int stored_target(FileKind file, std::optional<int> asked, const Format& source);

/// Whether several pictures may follow each other in one file.
constexpr bool can_follow(FileKind file) {
    return file == FileKind::Raw || file == FileKind::Pnm || file == FileKind::Pgm ||
           file == FileKind::Ppm;
}

/// A picture file in memory: head, then body. The body of raw, PNM and NumPy files is the picture
/// itself.
struct EncodedFile {
    std::vector<std::uint8_t> head;
    std::span<const std::uint8_t> body;

    std::size_t bytes() const { return head.size() + body.size(); }
};

/// Encodes the picture, whose kind must be that of stored_target(). 16-bit samples get
/// the order of bytes of the kind of file, in place. Throws Failure.
void encode(Picture picture, const EncodeOptions& options, EncodedFile& out);

// Each appends the complete file to `out`.
void encode_png(const Picture& picture, int level, std::vector<std::uint8_t>& out);
void encode_jpeg(const Picture& picture, int quality, std::vector<std::uint8_t>& out);
void encode_tiff(const Picture& picture, TiffCompression compression, int level,
                 std::vector<std::uint8_t>& out);
void encode_bmp(const Picture& picture, std::vector<std::uint8_t>& out);

}  // namespace tool
