// The two flips and three rotations against where each pixel has to go.
#include "support/frame.h"

namespace imgcnv::testing {
namespace {

struct Place {
    int x, y;
};
struct Rotation {
    const char* name;
    int (*call)(unsigned char*, Record*, unsigned char*, int*);
    bool quarter;
    Place (*target)(Place from, int width, int height);
};
const Rotation kRotations[] = {
    {"FlipToHorizontal", IMGCNV_FlipToHorizontal, false,
     [](Place p, int w, int) {
         return Place{w - 1 - p.x, p.y};
     }},
    {"FlipToVertical", IMGCNV_FlipToVertical, false,
     [](Place p, int, int h) {
         return Place{p.x, h - 1 - p.y};
     }},
    {"RotationToAngle180", IMGCNV_RotationToAngle180, false,
     [](Place p, int w, int h) {
         return Place{w - 1 - p.x, h - 1 - p.y};
     }},
    {"RotationToAngle90", IMGCNV_RotationToAngle90, true,
     [](Place p, int, int h) {
         return Place{h - 1 - p.y, p.x};
     }},
    {"RotationToAngle270", IMGCNV_RotationToAngle270, true,
     [](Place p, int w, int) {
         return Place{p.y, w - 1 - p.x};
     }},
};

int pixel_bytes(PixelFormat format) { return format == IMGCNV_PIXEL_MONO8 ? 1 : 3; }

Bytes rotated(const Rotation& rotation, Record& record, Bytes picture) {
    Bytes result(picture.size());
    int size = 0;
    EXPECT_EQ(rotation.call(picture.data(), &record, result.data(), &size), IMGCNV_SUCCESS);
    EXPECT_EQ(size, record.dataSize);
    return result;
}

TEST(Rotations, PutEveryPixelWhereItBelongs) {
    const int lengths[] = {1, 2, 3, 5, 7, 8, 13, 16, 17, 31, 63, 64, 65, 127, 128, 129};
    const PixelFormat formats[] = {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_RGB8_PACKED,
                                   IMGCNV_PIXEL_BGR8_PACKED};
    std::mt19937 random(run_seed());
    GuardedRegion source(3 * 129 * 129), target(3 * 129 * 129);
    for (const Rotation& rotation : kRotations) {
        for (int width : lengths) {
            for (int height : lengths) {
                const PixelFormat format = formats[random() % 3];
                const Guard guard = kGuards[random() % 2];
                const int k = pixel_bytes(format), size = width * height * k;
                SCOPED_TRACE(::testing::Message()
                             << rotation.name << " " << width << "x" << height << "x" << k
                             << " guard " << static_cast<int>(guard));
                const Bytes picture = random_bytes(size, random);
                Bytes expected(size);
                const int new_width = rotation.quarter ? height : width;
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        const Place to = rotation.target({x, y}, width, height);
                        std::memcpy(&expected[(to.y * new_width + to.x) * k],
                                    &picture[(y * width + x) * k], k);
                    }
                }
                const auto src = source.place(picture, guard);
                const auto dst = target.place(size, guard, 0xA5);
                Record record{width, height, 4, 5, size, format};
                int reported = 0;
                ASSERT_EQ(rotation.call(src.data(), &record, dst.data(), &reported),
                          IMGCNV_SUCCESS);
                ASSERT_TRUE(std::equal(dst.begin(), dst.end(), expected.begin()));
                ASSERT_TRUE(target.intact());
                ASSERT_EQ(reported, size);
                ASSERT_EQ(record.width, new_width);
                ASSERT_EQ(record.height, rotation.quarter ? width : height);
                ASSERT_EQ(record.rowPadding, 4);
                ASSERT_EQ(record.reserved, 5);
                ASSERT_EQ(record.dataSize, size);
                ASSERT_EQ(record.pixelFormat, format);
            }
        }
    }
}

TEST(Rotations, BringThePictureBack) {
    std::mt19937 random(run_seed());
    const Bytes picture = random_bytes(37 * 53 * 3, random);
    Record record{37, 53, 0, 0, 37 * 53 * 3, IMGCNV_PIXEL_BGR8_PACKED};
    for (const Rotation& rotation : kRotations) {
        Bytes now = picture;
        for (int i = 0; i < (rotation.quarter ? 4 : 2); ++i) now = rotated(rotation, record, now);
        EXPECT_EQ(now, picture) << rotation.name;
        EXPECT_EQ(record.width, 37);
    }
    const Rotation &half = kRotations[2], &clockwise = kRotations[3], &back = kRotations[4];
    const Bytes twice = rotated(clockwise, record, rotated(clockwise, record, picture));
    EXPECT_EQ(twice, rotated(half, record, picture));
    EXPECT_EQ(rotated(back, record, rotated(clockwise, record, picture)), picture);
}

}  // namespace
}  // namespace imgcnv::testing
