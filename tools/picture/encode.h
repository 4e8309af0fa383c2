#pragma once

#include "picture/picture.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tool {

enum class FileKind { Png, Pnm, Tiff, Bmp, Raw };

/// By the ending of a file name or the name of a kind ("png"); absent when it is neither.
std::optional<FileKind> file_kind_named(std::string_view ending_or_name);

/// The destination format whose bytes the file kind stores, for the one that was asked for: RGB and
/// BGR are the same picture in a file, BMP stores BGR. Throws UsageError for PNM with alpha.
IMGCNV_EPixelFormat stored_kind(FileKind file, IMGCNV_EPixelFormat asked);

/// Whether several pictures may follow each other in one file.
constexpr bool can_follow(FileKind file) { return file == FileKind::Raw || file == FileKind::Pnm; }

/// A picture file in memory: head, then body. The body of raw and PNM files is the picture itself.
struct EncodedFile {
    std::vector<std::uint8_t> head;
    std::span<const std::uint8_t> body;

    std::size_t bytes() const { return head.size() + body.size(); }
};

/// Encodes the picture, whose kind must be stored_kind(file). Alpha becomes opaque, in place, in
/// every kind but raw. Throws Failure.
void encode(Picture picture, FileKind file, int png_level, EncodedFile& out);

void encode_png(const Picture& picture, int level, std::vector<std::uint8_t>& out);
void encode_tiff(const Picture& picture, std::vector<std::uint8_t>& out);
void encode_bmp(const Picture& picture, std::vector<std::uint8_t>& out);

}  // namespace tool
