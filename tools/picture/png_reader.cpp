#include "errors.h"
#include "picture/deep_picture.h"

#include <png.h>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace tool {
namespace {

struct Reading {
    DeepPicture picture;
    std::vector<png_bytep> rows;
    char message[160] = "";
};

void on_error(png_structp png, png_const_charp message) {
    auto* reading = static_cast<Reading*>(png_get_error_ptr(png));
    std::snprintf(reading->message, sizeof reading->message, "%s", message);
    std::longjmp(png_jmpbuf(png), 1);
}

void on_warning(png_structp, png_const_charp) {}

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

DeepPicture read_png(const std::string& path) {
    const bool standard_input = path == "-";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        standard_input ? stdin : std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw Failure("cannot open " + path + ": " + std::strerror(errno));
    Reading reading;
    auto* png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reading, on_error, on_warning);
    auto* info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        throw std::bad_alloc();
    }
    png_init_io(png, file.get());
    const bool complete = read(png, info, reading);
    png_destroy_read_struct(&png, &info, nullptr);
    if (!complete)
        throw Failure((standard_input ? "standard input" : path) +
                      ": no readable PNG: " + reading.message);
    return std::move(reading.picture);
}

}  // namespace tool
