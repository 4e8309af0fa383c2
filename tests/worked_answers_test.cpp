// Small frames whose answer was worked out by hand, through the handle and
// through every one-shot function that gives the same picture.
#include "support/frame.h"
#include "support/one_shot.h"

namespace imgcnv::testing {
namespace {

constexpr int kept = -1;  // a byte that must stay as it was
constexpr uint8_t kFill = 0x5A;

struct Worked {
    const char* name;
    PixelFormat format;
    int width, height, padding;
    Bytes bytes;
    PixelFormat destination;
    int method;
    std::vector<int> expected;
    int status = IMGCNV_SUCCESS;
    int data_size = 0;  // 0: all of the bytes
};

constexpr auto Mono8 = IMGCNV_PIXEL_MONO8;
constexpr auto RGB = IMGCNV_PIXEL_RGB8_PACKED;
constexpr auto BGR = IMGCNV_PIXEL_BGR8_PACKED;
constexpr auto RGBA = IMGCNV_PIXEL_RGBA8_PACKED;
constexpr auto BGRA = IMGCNV_PIXEL_BGRA8_PACKED;
constexpr auto None = kNoDestination;

// One value after the other, in as few lines as they need.
// clang-format off
const Worked kMono[] = {
    {"first pixel is the lowest bit", IMGCNV_PIXEL_MONO1P, 8, 2, 0, {0x01, 0x80}, Mono8, 1,
     {255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}},
    {"bits of a partial byte are dropped", IMGCNV_PIXEL_MONO1P, 5, 2, 7, {0x21}, BGRA, 1,
     {255, 0, 0, 0, 0, 255, 0, 0, kept, kept}},
    {"low nibble first, times 16", IMGCNV_PIXEL_MONO4P, 3, 1, 0, {0x2F, 0x43}, Mono8, 1,
     {0xF0, 0x20, 0x30}},
    {"nibbles run on over rows and padding", IMGCNV_PIXEL_MONO4P, 1, 3, 5, {0x21, 0x43}, RGBA, 1,
     {16, 16, 16, 0, 32, 32, 32, 0, 48, 48, 48, 0}},
    {"padding is left out", IMGCNV_PIXEL_MONO8, 3, 2, 2, {1, 2, 3, 99, 99, 4, 5, 6}, Mono8, 1,
     {1, 2, 3, 4, 5, 6}},
    {"negative padding overlaps rows", IMGCNV_PIXEL_MONO8, 3, 2, -1, {1, 2, 3, 4, 5}, Mono8, 1,
     {1, 2, 3, 3, 4, 5}},
    {"grey thrice", IMGCNV_PIXEL_MONO8, 2, 1, 0, {7, 255}, RGB, 1, {7, 7, 7, 255, 255, 255}},
    {"unknown destination is 4 bytes", IMGCNV_PIXEL_MONO8, 2, 1, 0, {7, 8}, None, 1,
     {7, 7, 7, 0, 8, 8, 8, 0}},
    {"Mono10 keeps bits 2 to 9", IMGCNV_PIXEL_MONO10, 4, 1, 0,
     {0xFF, 0x03, 0x00, 0x02, 0x03, 0x00, 0x00, 0x04}, Mono8, 1, {255, 128, 0, 0}},
    {"Mono12 keeps bits 4 to 11", IMGCNV_PIXEL_MONO12, 4, 1, 0,
     {0xFF, 0x0F, 0xBC, 0x0A, 0x0F, 0x00, 0x00, 0x10}, BGR, 1,
     {255, 255, 255, 0xAB, 0xAB, 0xAB, 0, 0, 0, 0, 0, 0}},
    {"Mono16 keeps the high byte", IMGCNV_PIXEL_MONO16, 2, 2, 4,
     {0xAB, 0x12, 0xFF, 0x00, 9, 9, 9, 9, 0x00, 0xFF, 0x80, 0x7F}, Mono8, 1, {0x12, 0, 255, 0x7F}},
    {"the middle byte does not count", IMGCNV_PIXEL_MONO12_PACKED, 2, 1, 0, {0xAB, 0xC4, 0xDE},
     BGRA, 1, {0xAB, 0xAB, 0xAB, 0, 0xDE, 0xDE, 0xDE, 0}},
    {"an odd last pixel is dropped from each row", IMGCNV_PIXEL_MONO10_PACKED, 5, 2, 1,
     {1, 0, 2, 3, 0, 4, 9, 5, 0, 6, 7, 0, 8}, Mono8, 1, {1, 2, 3, 4, 5, 6, 7, 8, kept, kept}},
};

const Worked kPoints[] = {
    {"a zero record ends the list", IMGCNV_PIXEL_MONO1C, 2, 2, 0,
     {200, 0x00, 0x10, 0x01, 0, 0, 0, 0, 9, 0x00, 0x10, 0x01}, RGBA, 1, {200, 0, 0, 0, kept}},
    {"the data's end ends it; later points win; a zero point is stored", IMGCNV_PIXEL_MONO1C, 2, 2,
     0, {7, 0, 0x10, 2, 8, 0, 0x20, 1, 9, 0, 0x20, 1, 0, 0, 0x10, 2, 5, 0, 0x10, 1}, Mono8, 1,
     {0, 0, 9, 0}, IMGCNV_SUCCESS, 16},
    {"a record that begins before the end counts", IMGCNV_PIXEL_MONO1C, 2, 2, 0,
     {7, 0, 0x10, 1, 8, 0, 0x20, 2}, Mono8, 1, {7, 0, 0, 8}, IMGCNV_SUCCESS, 6},
    {"a row too many fails after the points before", IMGCNV_PIXEL_MONO1C, 2, 2, 0,
     {7, 0, 0x10, 1, 8, 0, 0x30, 1, 9, 0, 0x10, 2}, Mono8, 1, {7, 0, 0, 0}, IMGCNV_ILLEGAL_PARAM},
    {"a column too many fails", IMGCNV_PIXEL_MONO1C, 2, 2, 0, {8, 0, 0x10, 3}, RGB, 1,
     {0, 0, 0, 0, kept}, IMGCNV_ILLEGAL_PARAM},
    {"column 0 is the end of the row before", IMGCNV_PIXEL_MONO1C, 2, 2, 0, {8, 0, 0x20, 0}, Mono8,
     1, {0, 8, 0, 0}},
};

const Worked kOneRow[] = {
    {"8 bits", IMGCNV_PIXEL_BAYER_RG8, 4, 1, 0, {10, 20, 30, 40}, RGB, 1,
     {10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40}},
    {"alpha 0", IMGCNV_PIXEL_BAYER_RG8, 2, 1, 9, {10, 20}, BGRA, 2,
     {10, 10, 10, 0, 20, 20, 20, 0}},
    {"packed", IMGCNV_PIXEL_BAYER_GB12_PACKED, 2, 1, 0, {0xAB, 0xCD, 0xEF}, Mono8, 0,
     {0xAB, 0xEF}},
    {"packed, odd width", IMGCNV_PIXEL_BAYER_GB10_PACKED, 3, 1, 0, {1, 2, 3, 4, 5, 6}, Mono8, 0,
     {1, 3, 4, kept}},
    {"10 bits truncate", IMGCNV_PIXEL_BAYER_BG10, 3, 1, 0, {0xFF, 0x03, 0x04, 0x00, 0x00, 0x04},
     Mono8, 1, {255, 1, 0}},
    {"12 bits truncate", IMGCNV_PIXEL_BAYER_BG12, 3, 1, 0, {0xFF, 0x0F, 0x10, 0x00, 0x00, 0x10},
     Mono8, 1, {255, 1, 0}},
    {"no method fails", IMGCNV_PIXEL_BAYER_RG8, 1, 1, 0, {128}, RGB, -1, {128, 128, 128}},
    {"unknown destination is 4 bytes", IMGCNV_PIXEL_BAYER_RG8, 1, 1, 0, {128}, None, 7,
     {128, 128, 128, 0}},
};

const Worked kTriples[] = {
    {"RGB to BGR", RGB, 1, 1, 0, {10, 20, 30}, BGR, 1, {30, 20, 10}},
    {"RGB to RGBA", RGB, 1, 1, 0, {10, 20, 30}, RGBA, 1, {10, 20, 30, 0}},
    {"RGB to BGRA, padded", RGB, 1, 2, 1, {10, 20, 30, 9, 1, 2, 3}, BGRA, 1,
     {30, 20, 10, 0, 3, 2, 1, 0}},
    {"BGR to RGB", BGR, 1, 1, 0, {10, 20, 30}, RGB, 1, {30, 20, 10}},
    {"BGR to RGBA", BGR, 1, 1, 0, {10, 20, 30}, RGBA, 1, {30, 20, 10, 0}},
    {"BGR to BGRA", BGR, 1, 1, 0, {10, 20, 30}, BGRA, 1, {10, 20, 30, 0}},
    {"RGB to grey", RGB, 4, 1, 0, {1, 1, 1, 254, 254, 254, 255, 255, 255, 255, 0, 0}, Mono8, 1,
     {0, 253, 255, 76}},
    {"BGR to grey", BGR, 2, 1, 0, {255, 0, 0, 0, 0, 255}, Mono8, 1, {29, 76}},
    {"same order copies the padding too", RGB, 1, 2, 2, {1, 2, 3, 98, 99, 4, 5, 6}, RGB, 1,
     {1, 2, 3, 98, 99, 4, 5, 6, kept}},
    {"same order copies dataSize bytes", BGR, 2, 2, 0, {1, 2, 3, 4, 5, 6, 7}, BGR, 1,
     {1, 2, 3, 4, 5, kept, kept}, IMGCNV_SUCCESS, 5},
    {"unknown destination writes nothing", RGB, 1, 1, 0, {1, 2, 3}, None, 1, {kept, kept, kept}},
    {"nor does a source code as destination", BGR, 1, 1, 0, {1, 2, 3}, IMGCNV_PIXEL_MONO10, 1,
     {kept, kept, kept}},
};

const Worked kYuv[] = {
    {"terms floor, results clamp", IMGCNV_PIXEL_YUV444_PACKED, 7, 1, 0, {128, 128, 128, 128, 0,
     128, 128, 255, 128, 0, 0, 0, 0, 100, 255, 255, 100, 0, 127, 128, 127}, RGB, 1, {128, 128, 128,
     0, 0, 0, 255, 255, 255, 0, 136, 0, 255, 54, 0, 0, 149, 255, 126, 130, 126}},
    {"grey is the luma of the colour, not Y", IMGCNV_PIXEL_YUV444_PACKED, 2, 1, 0,
     {128, 128, 128, 0, 0, 0}, Mono8, 1, {127, 79}},
    {"U Y V Y", IMGCNV_PIXEL_YUV422_PACKED, 2, 1, 0, {128, 16, 128, 32}, RGB, 1,
     {16, 16, 16, 32, 32, 32}},
    {"Y U Y V", IMGCNV_PIXEL_YUV422_YUYV_PACKED, 2, 1, 0, {100, 0, 100, 255}, BGR, 1,
     {0, 54, 255, 0, 54, 255}},
    {"U Y Y V Y Y", IMGCNV_PIXEL_YUV411_PACKED, 4, 1, 0, {0, 100, 0, 255, 128, 100}, RGBA, 1,
     {255, 54, 0, 0, 178, 0, 0, 0, 255, 82, 0, 0, 255, 54, 0, 0}},
    {"a row of 3 writes 4 and shifts the next", IMGCNV_PIXEL_YUV422_PACKED, 3, 2, 1,
     {128, 1, 128, 2, 128, 3, 128, 4, 99, 128, 5, 128, 6, 128, 7, 128, 8}, RGB, 1,
     {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8}},
    {"4:1:1 writes whole fours", IMGCNV_PIXEL_YUV411_PACKED, 1, 2, 0,
     {128, 1, 2, 128, 4, 8, 128, 5, 6, 128, 7, 16}, None, 1, {1, 1, 1, 0, 2, 2, 2, 0, 4, 4, 4, 0,
     8, 8, 8, 0, 5, 5, 5, 0, 6, 6, 6, 0, 7, 7, 7, 0, 16, 16, 16, 0}},
};

const Worked kNearest[] = {
    {"RG cell", IMGCNV_PIXEL_BAYER_RG8, 2, 2, 0, {10, 200, 51, 20}, RGB, 0,
     {10, 125, 20, 10, 200, 20, 10, 51, 20, 10, 125, 20}},
    {"GB cell", IMGCNV_PIXEL_BAYER_GB8, 2, 2, 0, {10, 200, 50, 21}, RGB, 0,
     {50, 10, 200, 50, 15, 200, 50, 15, 200, 50, 21, 200}},
    {"BG cell", IMGCNV_PIXEL_BAYER_BG8, 2, 2, 0, {9, 3, 4, 7}, RGBA, 0,
     {7, 3, 9, 0, 7, 3, 9, 0, 7, 4, 9, 0, 7, 3, 9, 0}},
    {"grey loses what does not fit", IMGCNV_PIXEL_BAYER_RG8, 4, 2, 0,
     {128, 128, 254, 254, 128, 128, 254, 254}, Mono8, 0, {127, 127, 253, 253, 127, 127, 253, 253}},
    {"the last column of an odd width is left", IMGCNV_PIXEL_BAYER_GB8, 3, 2, 1,
     {1, 2, 9, 99, 3, 5, 9, 99}, BGR, 0,
     {2, 1, 3, 2, 3, 3, kept, kept, kept, 2, 3, 3, 2, 5, 3, kept, kept, kept}},
    {"an odd height pairs its last row with the row above it", IMGCNV_PIXEL_BAYER_RG8, 2, 3, 0,
     {1, 2, 3, 4, 5, 7}, RGB, 0,
     {1, 2, 4, 1, 2, 4, 1, 3, 4, 1, 2, 4, 5, 5, 4, 5, 7, 4, 5, 3, 4, 5, 5, 4}},
    {"unknown destination is B G R", IMGCNV_PIXEL_BAYER_RG8, 2, 2, 0, {10, 20, 20, 30}, None, 0,
     {30, 20, 10, 30, 20, 10, 30, 20, 10, 30, 20, 10, kept, kept, kept, kept}},
    {"no method writes nothing", IMGCNV_PIXEL_BAYER_BG12, 1, 2, 0, {1, 2, 3, 4}, RGB, 7,
     {kept, kept, kept, kept}},
    {"nor a negative one", IMGCNV_PIXEL_BAYER_GB10_PACKED, 2, 2, 0, {1, 2, 3, 4, 5, 6}, Mono8, -1,
     {kept, kept, kept, kept}},
    {"the row length follows from dataSize, not from width", IMGCNV_PIXEL_BAYER_RG8, 100, 2, 1,
     {1, 2, 99, 2, 3, 99, 98}, Mono8, 0, {1, 1, 1, 1, kept}},
    {"stride - padding of 7 holds 4 packed samples", IMGCNV_PIXEL_BAYER_BG10_PACKED, 9, 2, 0,
     {5, 0, 5, 5, 0, 5, 99, 5, 0, 5, 5, 0, 5, 99}, Mono8, 1, {5, 5, 5, 5, 5, 5, 5, 5, kept}},
    {"of 8 holds 4 as well", IMGCNV_PIXEL_BAYER_GB12_PACKED, 9, 2, 0,
     {5, 0, 5, 5, 0, 5, 99, 98, 5, 0, 5, 5, 0, 5, 99, 98}, Mono8, 1,
     {5, 5, 5, 5, 5, 5, 5, 5, kept, kept}},
    {"stride - padding of 2 holds none", IMGCNV_PIXEL_BAYER_BG10_PACKED, 2, 2, 0, {1, 2, 3, 4},
     Mono8, 1, {kept, kept}},
    {"a single column is no picture", IMGCNV_PIXEL_BAYER_RG8, 1, 2, 0, {1, 2}, RGB, 1,
     {kept, kept, kept}},
    {"more padding than row is none either", IMGCNV_PIXEL_BAYER_RG12, 1, 2, 9, {1, 2, 3, 4}, Mono8,
     2, {kept, kept}},
};
// clang-format on

TEST(WorkedAnswers, AllOfThem) {
    const std::pair<const char*, std::span<const Worked>> tables[] = {
        {"mono", kMono},       {"points", kPoints}, {"one row", kOneRow},
        {"triples", kTriples}, {"YUV", kYuv},       {"nearest", kNearest}};
    for (const auto& [table, cases] : tables) {
        for (const Worked& c : cases) {
            SCOPED_TRACE(::testing::Message() << table << ": " << c.name);
            Record record{c.width,
                          c.height,
                          c.padding,
                          12345,
                          c.data_size ? c.data_size : static_cast<int>(c.bytes.size()),
                          c.format};
            Bytes expected;
            for (int b : c.expected) expected.push_back(b == kept ? kFill : b);

            Bytes result(expected.size(), kFill);
            EXPECT_EQ(convert(record, c.destination, c.method, c.bytes.data(), result.data()),
                      c.status);
            EXPECT_EQ(result, expected);

            for (const OneShot& function : kOneShots) {
                if (function.destination != c.destination) continue;
                if (function.fixed_method && c.method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                if (c.status != IMGCNV_SUCCESS) continue;  // leaks: allocation_test.cpp
                SCOPED_TRACE(function.name);
                Bytes again(expected.size(), kFill);
                int size = 1;
                EXPECT_EQ(function.call(const_cast<uint8_t*>(c.bytes.data()), &record, again.data(),
                                        &size, static_cast<Demosaic>(c.method)),
                          c.status);
                EXPECT_EQ(again, expected);
            }
        }
    }
}

}  // namespace
}  // namespace imgcnv::testing
