// The demosaic methods judged on a photograph: better methods must come closer
// to the picture that the mosaic was taken from.
#include <png.h>

#include <cmath>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

struct Picture {
    int width, height;
    Bytes rgb;
};

// The picture, cut to even sizes.
Picture load(const char* path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&image, path)) << path << ": " << image.message;
    image.format = PNG_FORMAT_RGB;
    const int full_width = image.width, height = image.height / 2 * 2, width = full_width / 2 * 2;
    Bytes all(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, all.data(), 0, nullptr)) << image.message;
    Picture picture{width, height, {}};
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = &all[static_cast<size_t>(y) * full_width * 3];
        picture.rgb.insert(picture.rgb.end(), row, row + width * 3);
    }
    return picture;
}

Bytes mosaic_of(const Picture& picture, std::string_view order) {
    Bytes samples;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            // The order's letters are the first row; the second completes it.
            const bool green_first = order[0] == 'G';
            const bool green = (x + y) % 2 == (green_first ? 0 : 1);
            const bool first_row_color_is_red = order.find('R') != std::string_view::npos;
            const bool red = (y % 2 == 0) == first_row_color_is_red;
            const int channel = green ? 1 : red ? 0 : 2;
            samples.push_back(
                picture.rgb[(static_cast<size_t>(y) * picture.width + x) * 3 + channel]);
        }
    }
    return samples;
}

double psnr(const Bytes& a, const Bytes& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

TEST(Photo, BetterMethodsComeCloser) {
    const Picture picture = load(IMGCNV_PHOTO);
    ASSERT_GT(picture.rgb.size(), 100000u);
    const struct {
        std::string_view name;
        PixelFormat format;
    } orders[] = {{"RG", IMGCNV_PIXEL_BAYER_RG8},
                  {"GB", IMGCNV_PIXEL_BAYER_GB8},
                  {"BG", IMGCNV_PIXEL_BAYER_BG8}};
    for (const auto& order : orders) {
        const Bytes samples = mosaic_of(picture, order.name);
        double quality[3];
        for (Demosaic method : kMethods) {
            const Record record{
                picture.width, picture.height, 0, 0, static_cast<int>(samples.size()),
                order.format};
            quality[method] = psnr(picture.rgb, converted(record, samples, IMGCNV_PIXEL_RGB8_PACKED,
                                                          method, picture.rgb.size()));
        }
        std::printf("%s: nearest %.2f dB, bilinear %.2f dB, adaptive %.2f dB\n", order.name.data(),
                    quality[0], quality[1], quality[2]);
        EXPECT_GT(quality[1], quality[0]) << order.name;
        EXPECT_GE(quality[2], quality[1] + 3) << order.name;
    }
}

}  // namespace
}  // namespace imgcnv::testing
