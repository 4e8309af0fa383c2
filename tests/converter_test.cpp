// The record and the converter object as others hold them: callers build the
// record in memory of their own, and C++ callers may hold a converter.
#include "converter/img_converter.h"

#include <cstddef>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

static_assert(sizeof(Record) == 24);
static_assert(offsetof(Record, width) == 0 && offsetof(Record, height) == 4);
static_assert(offsetof(Record, rowPadding) == 8 && offsetof(Record, reserved) == 12);
static_assert(offsetof(Record, dataSize) == 16 && offsetof(Record, pixelFormat) == 20);
static_assert(sizeof(PixelFormat) == 4 && sizeof(Demosaic) == 4);

TEST(Converter, FieldsLieWhereCallersExpectThem) {
    CImgConverterC converter;
    const auto offset = [&](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&converter);
    };
    EXPECT_EQ(offset(converter.width), 8);  // after the table of virtual functions
    EXPECT_EQ(offset(converter.height), 12);
    EXPECT_EQ(offset(converter.rowPadding), 16);
    EXPECT_EQ(offset(converter.reserved), 20);
    EXPECT_EQ(offset(converter.dataSize), 24);
    EXPECT_EQ(offset(converter.srcFormat), 28);
    EXPECT_EQ(offset(converter.dstFormat), 32);
    EXPECT_EQ(offset(converter.redOffset), 36);
    EXPECT_EQ(offset(converter.greenOffset), 40);
    EXPECT_EQ(offset(converter.blueOffset), 44);
    EXPECT_EQ(offset(converter.alphaOffset), 48);
    EXPECT_EQ(offset(converter.demosaic), 52);
    EXPECT_EQ(offset(converter.convertRoutine), 56);
    EXPECT_EQ(sizeof converter, 72u);
}

std::array<int, 4> offsets(const CImgConverterC& c) {
    return {c.redOffset, c.greenOffset, c.blueOffset, c.alphaOffset};
}

TEST(Converter, StartsEmptyAndFailsInOrder) {
    CImgConverterC converter;
    EXPECT_EQ(converter.width, 0);
    EXPECT_EQ(converter.height, 0);
    EXPECT_EQ(converter.rowPadding, 0);
    EXPECT_EQ(converter.reserved, 0);
    EXPECT_EQ(converter.srcFormat, IMGCNV_PIXEL_UNDEFINED);
    EXPECT_EQ(converter.dstFormat, IMGCNV_PIXEL_UNDEFINED);
    EXPECT_EQ(offsets(converter), (std::array{2, 1, 0, -1}));
    uint8_t byte = 7;
    EXPECT_EQ(converter.Convert(&byte, &byte), IMGCNV_ERR_ORDER);
    Record record{1, 1, 0, 0, 1, IMGCNV_PIXEL_MONO8};
    int size = 77;
    EXPECT_EQ(converter.Open(&record, IMGCNV_PIXEL_RGBA8_PACKED, IMGCNV_PIXEL_MONO8, &size,
                             IMGCNV_DEMOSAIC_NEAREST),
              IMGCNV_NOT_SUPPORT);
    EXPECT_EQ(size, 77);
    EXPECT_EQ(converter.width, 0);
    EXPECT_EQ(offsets(converter), (std::array{2, 1, 0, -1}));
    EXPECT_EQ(converter.Convert(&byte, &byte), IMGCNV_ERR_ORDER);
}

TEST(Converter, OpenKeepsTheArgumentsAndCloseForgetsThree) {
    const struct {
        PixelFormat destination;
        std::array<int, 4> offsets;
    } cases[] = {{IMGCNV_PIXEL_RGB8_PACKED, {0, 1, 2, -1}},
                 {IMGCNV_PIXEL_BGR8_PACKED, {2, 1, 0, -1}},
                 {IMGCNV_PIXEL_RGBA8_PACKED, {0, 1, 2, 3}},
                 {kNoDestination, {0, 1, 2, 3}},  // those of the one before
                 {IMGCNV_PIXEL_BGRA8_PACKED, {2, 1, 0, 3}},
                 {IMGCNV_PIXEL_MONO8, {-1, -1, -1, -1}}};
    CImgConverterC converter;
    for (const auto& c : cases) {
        Record record{3, 5, -2, 9, 60, IMGCNV_PIXEL_MONO16};  // its format is not looked at
        int size = 0;
        ASSERT_EQ(converter.Open(&record, IMGCNV_PIXEL_MONO8, c.destination, &size,
                                 static_cast<Demosaic>(-3)),
                  IMGCNV_SUCCESS);
        EXPECT_EQ(offsets(converter), c.offsets) << std::hex << c.destination;
        EXPECT_EQ(size, 15 * bytes_per_pixel(c.destination));
        EXPECT_EQ(converter.dstFormat, c.destination);
    }
    EXPECT_EQ(converter.Close(), 0);
    EXPECT_EQ(converter.width, 0);
    EXPECT_EQ(converter.height, 0);
    EXPECT_EQ(converter.srcFormat, IMGCNV_PIXEL_UNDEFINED);
    EXPECT_EQ(converter.rowPadding, -2);
    EXPECT_EQ(converter.reserved, 9);
    EXPECT_EQ(converter.dataSize, 60);
    EXPECT_EQ(converter.dstFormat, IMGCNV_PIXEL_MONO8);
    EXPECT_EQ(converter.demosaic, static_cast<Demosaic>(-3));
    EXPECT_NE(converter.convertRoutine, nullptr);
}

// Only the exported functions look at pointers and geometry. A routine checks
// its destination where it always has: all but those of mosaics.
TEST(Converter, RoutinesRefuseANullDestination) {
    for (const SourceFormat& s : kSources) {
        for (int height : {1, 2}) {
            if (is_bayer(s) && height > 1) continue;
            Record record{2, height, 0, 0, 64, s.code};
            CImgConverterC converter;
            int size = 0;
            ASSERT_EQ(converter.Open(&record, s.code, IMGCNV_PIXEL_RGBA8_PACKED, &size,
                                     IMGCNV_DEMOSAIC_BILINEAR),
                      IMGCNV_SUCCESS);
            EXPECT_EQ(converter.Convert(nullptr, nullptr), IMGCNV_ILLEGAL_PARAM) << s.name;
        }
    }
}

TEST(Converter, RoutinesDoNothingWithoutRowsOrColumns) {
    for (const SourceFormat& s : kSources) {
        if (is_bayer(s) || s.code == IMGCNV_PIXEL_MONO1C) continue;
        for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-3, 5}, {5, -3}}) {
            if (is_stream(s) && width * height < 0) continue;  // a huge count, not an empty one
            if (height > 0 && s.code == IMGCNV_PIXEL_MONO1P) continue;
            Record record{width, height, 0, 0, 64, s.code};
            CImgConverterC converter;
            int size = 0;
            ASSERT_EQ(converter.Open(&record, s.code, IMGCNV_PIXEL_BGRA8_PACKED, &size,
                                     IMGCNV_DEMOSAIC_BILINEAR),
                      IMGCNV_SUCCESS);
            uint8_t dst = 77;
            EXPECT_EQ(converter.Convert(&dst, &dst), IMGCNV_SUCCESS) << s.name;
            EXPECT_EQ(dst, 77) << s.name << " " << width << "x" << height;
        }
    }
}

}  // namespace
}  // namespace imgcnv::testing
