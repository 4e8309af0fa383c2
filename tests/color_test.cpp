// Every triple of channel values through the colour rules, each written here in
// the form that defines it.
#include <array>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

uint8_t luma(int r, int g, int b) { return static_cast<int>((r * 0.299 + g * 0.587) + b * 0.114); }
uint8_t clamp(int v) { return std::clamp(v, 0, 255); }

// Bytes (first, i, j) for all i, j: one frame of 256 for each first.
Bytes all_pairs(int first) {
    Bytes triples;
    triples.reserve(3 << 16);
    for (int i = 0; i < 65536; ++i) {
        triples.push_back(static_cast<uint8_t>(first));
        triples.push_back(static_cast<uint8_t>(i >> 8));
        triples.push_back(static_cast<uint8_t>(i));
    }
    return triples;
}
Record square(PixelFormat format) { return {256, 256, 0, 0, 3 << 16, format}; }

TEST(Color, GreyOfAllTriples) {
    for (int red = 0; red < 256; ++red) {
        const Bytes triples = all_pairs(red);
        Bytes expected(1 << 16);
        for (int i = 0; i < 65536; ++i) expected[i] = luma(red, i >> 8, i & 255);
        ASSERT_EQ(
            converted(square(IMGCNV_PIXEL_RGB8_PACKED), triples, IMGCNV_PIXEL_MONO8, 1, 1 << 16),
            expected)
            << "RGB, red " << red;
        const int blue = red;
        for (int i = 0; i < 65536; ++i) expected[i] = luma(i & 255, i >> 8, blue);
        ASSERT_EQ(
            converted(square(IMGCNV_PIXEL_BGR8_PACKED), triples, IMGCNV_PIXEL_MONO8, 1, 1 << 16),
            expected)
            << "BGR, blue " << blue;
    }
}

// Flat areas of colours whose sum is on the edge of an integer, of their neighbours and of
// greys, in runs that end anywhere within a block.
TEST(Color, GreyOfFlatAreas) {
    std::mt19937 random(run_seed());
    std::vector<std::array<int, 3>> edge;
    for (int i = 0; i < 1 << 24; ++i) {
        const std::array rgb = {i >> 16, i >> 8 & 255, i & 255};
        if ((299 * rgb[0] + 587 * rgb[1] + 114 * rgb[2]) % 1000 == 0) edge.push_back(rgb);
    }
    for (int round = 0; round < 200; ++round) {
        std::vector<std::array<int, 3>> palette = {
            edge[random() % edge.size()], edge[random() % edge.size()], {200, 200, 200}};
        for (int channel = 0; channel < 3; ++channel) {
            palette.push_back(palette[0]);
            palette.back()[channel] ^= 1;
        }
        Bytes triples, expected;
        while (expected.size() < 4096) {
            const auto [r, g, b] = palette[random() % palette.size()];
            for (size_t n = random() % 160; n != 0 && expected.size() < 4096; --n) {
                for (int value : {r, g, b}) triples.push_back(value);
                expected.push_back(luma(r, g, b));
            }
        }
        ASSERT_EQ(converted({4096, 1, 0, 0, 3 * 4096, IMGCNV_PIXEL_RGB8_PACKED}, triples,
                            IMGCNV_PIXEL_MONO8, 1, 4096),
                  expected)
            << "round " << round << ", seed " << run_seed();
    }
}

// The nearest method gives all four pixels of a cell one colour when its two
// greens agree.
TEST(Color, GreyOfAllTriplesInAMosaic) {
    Bytes mosaic(1 << 18), expected(1 << 18);
    for (int red = 0; red < 256; ++red) {
        for (int green = 0; green < 256; ++green) {
            uint8_t *even = &mosaic[green * 1024], *odd = even + 512,
                    *grey = &expected[green * 1024];
            for (int blue = 0; blue < 256; ++blue) {
                even[2 * blue] = red;
                even[2 * blue + 1] = odd[2 * blue] = green;
                odd[2 * blue + 1] = blue;
                grey[2 * blue] = grey[2 * blue + 1] = luma(red, green, blue);
            }
            std::copy_n(grey, 512, grey + 512);
        }
        ASSERT_EQ(converted({512, 512, 0, 0, 1 << 18, IMGCNV_PIXEL_BAYER_RG8}, mosaic,
                            IMGCNV_PIXEL_MONO8, IMGCNV_DEMOSAIC_NEAREST, 1 << 18),
                  expected)
            << "red " << red;
    }
}

TEST(Color, AllYuvTriples) {
    for (int u = 0; u < 256; ++u) {
        const Bytes triples = all_pairs(u);  // U, Y, V
        Bytes expected(3 << 16), grey(1 << 16);
        for (int i = 0; i < 65536; ++i) {
            const int y = i >> 8, v = i & 255;
            const uint8_t r = clamp(y + ((359 * v - 45952) >> 8));
            const uint8_t g = clamp(y - ((88 * u - 11264) >> 8) - ((183 * v - 23424) >> 8));
            const uint8_t b = clamp(y + ((454 * u - 58112) >> 8));
            expected[3 * i] = r;
            expected[3 * i + 1] = g;
            expected[3 * i + 2] = b;
            grey[i] = luma(r, g, b);
        }
        const Record record = square(IMGCNV_PIXEL_YUV444_PACKED);
        ASSERT_EQ(converted(record, triples, IMGCNV_PIXEL_RGB8_PACKED, 1, 3 << 16), expected)
            << "U " << u;
        ASSERT_EQ(converted(record, triples, IMGCNV_PIXEL_MONO8, 1, 1 << 16), grey) << "U " << u;
    }
}

// The chroma-sharing layouts say the same as 4:4:4 with each chroma repeated.
TEST(Color, SubsampledYuvIsRepeatedChroma) {
    const struct {
        PixelFormat format;
        int pixels, y[4], u, v, bytes;
    } layouts[] = {{IMGCNV_PIXEL_YUV422_PACKED, 2, {1, 3}, 0, 2, 4},
                   {IMGCNV_PIXEL_YUV422_YUYV_PACKED, 2, {0, 2}, 1, 3, 4},
                   {IMGCNV_PIXEL_YUV411_PACKED, 4, {1, 2, 4, 5}, 0, 3, 6}};
    std::mt19937 random(run_seed());
    for (const auto& layout : layouts) {
        constexpr int groups = 1000;
        const Bytes source = random_bytes(groups * layout.bytes, random);
        Bytes full;
        for (int g = 0; g < groups; ++g) {
            const uint8_t* group = &source[g * layout.bytes];
            for (int p = 0; p < layout.pixels; ++p) {
                full.insert(full.end(), {group[layout.u], group[layout.y[p]], group[layout.v]});
            }
        }
        const int width = groups * layout.pixels;
        for (PixelFormat destination : kDestinations) {
            const size_t size = static_cast<size_t>(width) * bytes_per_pixel(destination);
            const int bytes = static_cast<int>(source.size()), all = static_cast<int>(full.size());
            EXPECT_EQ(
                converted({width, 1, 0, 0, bytes, layout.format}, source, destination, 1, size),
                converted({width, 1, 0, 0, all, IMGCNV_PIXEL_YUV444_PACKED}, full, destination, 1,
                          size))
                << std::hex << layout.format << " to " << destination;
        }
    }
}

}  // namespace
}  // namespace imgcnv::testing
