#include "errors.h"
#include "picture/encode.h"

#include <jpeglib.h>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstdlib>

namespace tool {
namespace {

struct Errors {
    jpeg_error_mgr manager;  // first, so that libjpeg's pointer to it is one to all of this
    std::jmp_buf leave;
    char message[JMSG_LENGTH_MAX] = "";
};

void on_error(j_common_ptr codec) {
    auto* errors = reinterpret_cast<Errors*>(codec->err);
    codec->err->format_message(codec, errors->message);
    std::longjmp(errors->leave, 1);
}

void on_message(j_common_ptr) {}

// Nothing in here may need a destructor: errors leave by longjmp.
bool write(jpeg_compress_struct& codec, Errors& errors, const Picture& picture, int quality,
           unsigned char** bytes, unsigned long* size) {
    if (setjmp(errors.leave) != 0) return false;
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, bytes, size);
    codec.image_width = static_cast<JDIMENSION>(picture.width);
    codec.image_height = static_cast<JDIMENSION>(picture.height);
    codec.input_components = picture.kind.channels;
    codec.in_color_space = picture.kind.is_color() ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, quality, TRUE);
    jpeg_start_compress(&codec, TRUE);
    while (codec.next_scanline < codec.image_height) {
        JSAMPROW row = picture.row(codec.next_scanline);
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
    return true;
}

}  // namespace

void encode_jpeg(const Picture& picture, int quality, std::vector<std::uint8_t>& out) {
    if (picture.width > JPEG_MAX_DIMENSION || picture.height > JPEG_MAX_DIMENSION)
        throw Failure("JPEG: a picture of " + std::to_string(picture.width) + "x" +
                      std::to_string(picture.height) + ", at most " +
                      std::to_string(JPEG_MAX_DIMENSION) +
                      " pixels a side are possible\n  what to do: write PNG or TIFF");
    jpeg_compress_struct codec{};
    Errors errors;
    codec.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = on_error;
    errors.manager.output_message = on_message;
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const bool written = write(codec, errors, picture, quality, &bytes, &size);
    jpeg_destroy_compress(&codec);
    try {
        if (written) out.insert(out.end(), bytes, bytes + size);
    } catch (...) {
        std::free(bytes);
        throw;
    }
    std::free(bytes);
    if (!written) throw Failure(std::string("JPEG: ") + errors.message);
}

}  // namespace tool
