#include "errors.h"
#include "io/input_file.h"
#include "picture/picture16.h"

#include <png.h>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace tool {
namespace {

struct Reading {
    std::span<const std::uint8_t> file;
    std::size_t at = 0;
    Picture16 picture;
    std::vector<png_bytep> rows;
    char message[160] = "";
};

void on_error(png_structp png, png_const_charp message) {
    auto* reading = static_cast<Reading*>(png_get_error_ptr(png));
    std::snprintf(reading->message, sizeof reading->message, "%s", message);
    std::longjmp(png_jmpbuf(png), 1);
}

void on_warning(png_structp, png_const_charp) {}

void on_read(png_structp png, png_bytep data, std::size_t size) {
    auto* reading = static_cast<Reading*>(png_get_io_ptr(png));
    if (size > reading->file.size() - reading->at) png_error(png, "the file is cut short");
    std::memcpy(data, reading->file.data() + reading->at, size);
    reading->at += size;
}

/// Whether a file of this length can hold rows of this size at all: memory is taken for no others.
bool can_hold(std::size_t file_bytes, std::size_t row_bytes, std::size_t rows) {
    constexpr std::size_t kMostCompression = 1032;  // a 2-bit code for a run of 258 bytes
    return row_bytes < kMostCompression * file_bytes / rows + 1;
}

bool allocate(Reading& reading, png_uint_32 width, png_uint_32 height) {
    try {
        reading.picture.width = width;
        reading.picture.height = height;
        reading.picture.samples.resize(std::size_t{width} * height * 3);
        reading.rows.resize(height);
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (std::size_t y = 0; y < height; ++y)
        reading.rows[y] =
            reinterpret_cast<png_bytep>(reading.picture.samples.data() + y * width * 3);
    return true;
}

// Nothing in here may need a destructor: errors leave by longjmp.
bool read(png_structp png, png_infop info, Reading& reading) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_read_info(png, info);
    if (!can_hold(reading.file.size(), png_get_rowbytes(png, info),
                  png_get_image_height(png, info)))
        png_error(png, "it claims a size that its few bytes cannot hold");
    png_set_expand_16(png);
    png_set_gray_to_rgb(png);
    png_set_strip_alpha(png);
    png_set_swap(png);  // PNG is big-endian
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (!allocate(reading, png_get_image_width(png, info), png_get_image_height(png, info)))
        png_error(png, "not enough memory");
    png_read_image(png, reading.rows.data());
    png_read_end(png, nullptr);
    return true;
}

}  // namespace

Picture16 read_png(const std::string& path) {
    const InputFile file(path);
    const auto bytes = read_all(file);
    Reading reading;
    reading.file = bytes;
    auto* png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reading, on_error, on_warning);
    auto* info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        throw std::bad_alloc();
    }
    png_set_read_fn(png, &reading, on_read);
    const bool complete = read(png, info, reading);
    png_destroy_read_struct(&png, &info, nullptr);
    if (!complete) throw Failure(file.name() + ": not a readable PNG: " + reading.message);
    return std::move(reading.picture);
}

}  // namespace tool
