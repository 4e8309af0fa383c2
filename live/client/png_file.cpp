#include "client/converter.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>

namespace live {
namespace {

/// False when the file cannot be written.
bool write_to(std::FILE* file, const Picture& picture) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_compression_level(png, 1);  // a live picture cannot wait for smaller files
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), 8,
                 picture.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (picture.channels == 4) {  // BGRA of the window, whose alpha is always opaque
        png_set_bgr(png);
        png_set_filler(png, 0, PNG_FILLER_AFTER);
    }
    for (std::int64_t y = 0; y < picture.height; ++y)
        png_write_row(png, &picture.pixels[static_cast<std::size_t>(y * picture.row_bytes())]);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

void write_png(const Picture& picture, const std::string& path) {
    const std::string beside = path + ".part";
    std::FILE* file = std::fopen(beside.c_str(), "wb");
    if (!file) throw Failure(path + ": cannot be opened for writing");
    const bool is_written = write_to(file, picture);
    const bool is_closed = std::fclose(file) == 0;
    if (is_written && is_closed && std::rename(beside.c_str(), path.c_str()) == 0) return;
    std::remove(beside.c_str());
    throw Failure(path + ": cannot be written; is the disk full?");
}

}  // namespace live
