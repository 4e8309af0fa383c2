// imgcnv_pack_frame against a model that reads single bits, and imgcnv_auto_levels on frames that
// it packs.

#include "frames/layout_model.h"
#include "layouts/kernel_table.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <random>

namespace frames {
namespace {

struct Packed {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    std::vector<std::uint8_t> bytes;
    std::int64_t stride = 0;  // 0: a stream
    int status = 0;
    char text[IMGCNV_TEXT_BYTES] = "";
};

std::vector<std::uint16_t> random_picture(std::size_t words, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint16_t> picture(words);
    for (auto& word : picture) word = static_cast<std::uint16_t>(random());
    return picture;
}

Packed pack(const Format& format, int width, int height, std::int64_t padding, unsigned flags,
            const std::vector<std::uint16_t>& picture, int channels) {
    Packed packed;
    packed.frame.format = format.code;
    packed.frame.flags = flags;
    packed.frame.width = width;
    packed.frame.height = height;
    if (padding > 0) packed.frame.stride = imgcnv_row_bytes(format.code, width) + padding;
    imgcnv_frame_sizes sizes{sizeof sizes, 0, 0, 0, 0};
    EXPECT_EQ(imgcnv_frame_measure(&packed.frame, &sizes, packed.text, sizeof packed.text), 0)
        << packed.text;
    imgcnv::testing::GuardedRegion region(static_cast<std::size_t>(sizes.frame_bytes));
    const auto out = region.place(static_cast<std::size_t>(sizes.frame_bytes),
                                  imgcnv::testing::Guard::kAfter, 0xEE);
    packed.status = imgcnv_pack_frame(&packed.frame, picture.data(), channels, out.data(),
                                      out.size(), packed.text, sizeof packed.text);
    EXPECT_TRUE(region.intact());
    packed.bytes.assign(out.begin(), out.end());
    packed.stride = sizes.stride;
    return packed;
}

/// The channel of a picture that stands at a site: R, G, B are 0, 1, 2.
int site_channel(int order, std::size_t x, std::size_t y) {
    const char* const cells[] = {"GGGG", "RGGB", "GBRG", "BGGR", "GRBG"};
    return static_cast<int>(std::string_view("RGB").find(cells[order][y % 2 * 2 + x % 2]));
}

TEST(Pack, EveryLayoutHoldsTheSamples) {
    for (const Format& format : formats()) {
        if (channels(format) == 0) continue;
        for (const int width : {1, 3, 4, 9, 16, 37})
            for (const std::int64_t padding : {0, 5})
                for (const unsigned flags : {0U, unsigned{IMGCNV_FRAME_BIG_ENDIAN}}) {
                    if (flags != 0 && !has_words(format)) continue;
                    SCOPED_TRACE(::testing::Message() << format.name << " " << width << " padding "
                                                      << padding << " flags " << flags);
                    constexpr int kHeight = 3;
                    const auto w = static_cast<std::size_t>(width);
                    const auto picture = random_picture(w * kHeight * 3, 5);
                    const auto packed = pack(format, width, kHeight, padding, flags, picture, 3);
                    ASSERT_EQ(packed.status, IMGCNV_OK) << packed.text;
                    const auto layout = sample_layout(format, flags != 0);
                    const auto period = static_cast<std::size_t>(channels(format));
                    std::vector<std::uint8_t> expected(packed.bytes.size());
                    for (std::size_t y = 0; y < kHeight; ++y)
                        for (std::size_t x = 0; x < w; ++x)
                            for (std::size_t c = 0; c < period; ++c) {
                                const auto* rgb = &picture[3 * (y * w + x)];
                                unsigned value =
                                    (299U * rgb[0] + 587U * rgb[1] + 114U * rgb[2] + 500U) / 1000U;
                                if (is_mosaic(format))
                                    value = rgb[site_channel(format.order, x, y)];
                                if (period >= 3)
                                    value = c == 3 ? 65535U
                                            : format.layout == IMGCNV_LAYOUT_BGR ||
                                                    format.layout == IMGCNV_LAYOUT_BGRA
                                                ? rgb[2 - c]
                                                : rgb[c];
                                const bool stream = packed.stride == 0;
                                testing::put_model_sample(
                                    layout,
                                    expected.data() +
                                        (stream ? 0 : y * static_cast<std::size_t>(packed.stride)),
                                    (stream ? y * w + x : x) * period + c,
                                    value >> (16 - format.depth));
                            }
                    ASSERT_EQ(packed.bytes, expected);
                }
    }
}

const Format& format_named(const char* name) {
    std::uint32_t code = 0;
    char text[IMGCNV_TEXT_BYTES];
    EXPECT_EQ(imgcnv_find_format(name, &code, nullptr, text, sizeof text), IMGCNV_OK) << text;
    return *format_of_code(code);
}

TEST(Pack, YuvOfKnownColors) {
    const std::vector<std::uint16_t> red = {65535, 0, 0, 65535, 0, 0};
    const std::vector<std::uint16_t> white(6, 65535);
    using Bytes = std::vector<std::uint8_t>;
    const auto& format = format_named("YUV422_8");
    const bool luma_first = format.layout == IMGCNV_LAYOUT_YUYV;
    const auto expect = [&](const auto& picture, unsigned flags, int y, int u, int v) {
        const auto packed = pack(format, 2, 1, 0, flags, picture, 3);
        const auto b = [](int value) { return static_cast<std::uint8_t>(value); };
        EXPECT_EQ(packed.bytes,
                  luma_first ? (Bytes{b(y), b(u), b(y), b(v)}) : (Bytes{b(u), b(y), b(v), b(y)}));
    };
    expect(red, 0, 76, 85, 255);
    expect(white, 0, 255, 128, 128);
    expect(red, IMGCNV_FRAME_VIDEO_RANGE, 81, 90, 240);
    expect(white, IMGCNV_FRAME_VIDEO_RANGE, 235, 128, 128);
}

TEST(Pack, PointsEndWithZeros) {
    const auto& format = format_named("Mono1C");
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    frame.format = format.code;
    frame.width = 3;
    frame.height = 2;
    const std::uint16_t grey[6] = {0, 0, 0x1234, 0, 0xFFFF, 0};
    std::vector<std::uint8_t> list(12, 9);
    char text[IMGCNV_TEXT_BYTES];
    ASSERT_EQ(imgcnv_pack_frame(&frame, grey, 1, list.data(), list.size(), text, sizeof text), 0)
        << text;
    EXPECT_EQ(list, (std::vector<std::uint8_t>{0x12, 0, 0x10, 3, 0xFF, 0, 0x20, 2, 0, 0, 0, 0}));
    EXPECT_EQ(imgcnv_pack_frame(&frame, grey, 1, list.data(), 11, text, sizeof text),
              IMGCNV_BAD_SIZE);
}

TEST(Pack, RefusesWhatCannotBe) {
    const auto& format = format_named("Mono8");
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    frame.format = format.code;
    frame.width = frame.height = 2;
    std::uint16_t samples[12] = {};
    std::uint8_t out[4];
    char text[IMGCNV_TEXT_BYTES];
    const auto status = [&](const std::uint16_t* from, int channels, void* to, std::size_t bytes) {
        return imgcnv_pack_frame(&frame, from, channels, to, bytes, text, sizeof text);
    };
    EXPECT_EQ(status(samples, 1, out, 4), IMGCNV_OK);
    EXPECT_EQ(status(nullptr, 1, out, 4), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(status(samples, 1, nullptr, 4), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(status(samples, 2, out, 4), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(status(samples, 1, out, 3), IMGCNV_BAD_SIZE);
    EXPECT_STREQ(text, "the destination has 3 bytes, expected at least 4 for Mono8 2x2");
    EXPECT_EQ(status(samples, 1, reinterpret_cast<std::uint8_t*>(samples) + 7, 4), IMGCNV_OVERLAP);
}

/// A scene of all greys from dark to bright, as a camera with a cast sees it.
imgcnv_levels levels_of(const char* name, double dark, double bright, const double (&cast)[3],
                        int expected_status = IMGCNV_OK) {
    constexpr int kWidth = 64, kHeight = 48;
    std::vector<std::uint16_t> picture;
    for (int i = 0; i < kWidth * kHeight; ++i)
        for (const double c : cast) {
            const double light = i * 7 % 1000 / 999.0;
            picture.push_back(
                static_cast<std::uint16_t>(65535 * (dark + (bright - dark) * light * c)));
        }
    const auto packed = pack(format_named(name), kWidth, kHeight, 0, 0, picture, 3);
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    char text[IMGCNV_TEXT_BYTES];
    EXPECT_EQ(imgcnv_auto_levels(&packed.frame, packed.bytes.data(), packed.bytes.size(), &levels,
                                 text, sizeof text),
              expected_status)
        << text;
    return levels;
}

TEST(AutoLevels, FindRangeAndCast) {
    for (const char* name : {"BayerRG12p", "BayerGR8", "BayerGB12", "BayerBG10p", "RGB8", "BGR8"}) {
        SCOPED_TRACE(name);
        const double full = (1 << format_named(name).depth) - 1;
        const auto levels = levels_of(name, 0.1, 0.6, {0.5, 1.0, 0.7});
        EXPECT_NEAR(levels.black / full, 0.1, 0.01);
        EXPECT_NEAR(levels.white / full, 0.6, 0.02);
        EXPECT_NEAR(levels.red_gain, 2.0, 0.05);
        EXPECT_NEAR(levels.green_gain, 1.0, 0.01);
        EXPECT_NEAR(levels.blue_gain, 1 / 0.7, 0.05);
    }
    const auto grey = levels_of("Mono12p", 0.2, 0.3, {1, 1, 1});
    EXPECT_NEAR(grey.black, 0.2 * 4095, 5);
    EXPECT_NEAR(grey.white, 0.3 * 4095, 5);
    EXPECT_EQ(grey.red_gain, 1);
    const auto yuv = levels_of("YUV422_8", 0.2, 0.3, {1, 1, 1});
    EXPECT_NEAR(yuv.black, 51, 1);
    EXPECT_NEAR(yuv.white, 76, 1);
}

TEST(AutoLevels, AreBounded) {
    // Flat frames, black and white ones: legal levels that do not stretch noise without end.
    for (const char* name : {"Mono1p", "Mono8", "Mono16", "BayerRG12p", "RGB8"})
        for (const double light : {0.0, 0.5, 1.0}) {
            SCOPED_TRACE(::testing::Message() << name << " " << light);
            const double full = (1 << format_named(name).depth) - 1;
            const auto levels = levels_of(name, light, light, {1, 1, 1});
            EXPECT_GE(levels.black, 0);
            EXPECT_GT(levels.white, levels.black);
            EXPECT_LE(levels.white, full);
            EXPECT_EQ(levels.red_gain, 1);
        }
    const auto no_blue = levels_of("BayerRG8", 0, 1, {1, 1, 0.01});
    EXPECT_LE(no_blue.blue_gain, 8);
}

}  // namespace
}  // namespace frames
