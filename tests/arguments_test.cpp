// Statuses, reported sizes, and that a refused call changes nothing.
#include <climits>

#include "support/frame.h"
#include "support/one_shot.h"

namespace imgcnv::testing {
namespace {

bool operator==(const Record& a, const Record& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const PixelFormat kNoSources[] = {
    IMGCNV_PIXEL_UNDEFINED,
    IMGCNV_PIXEL_RGBA8_PACKED,
    IMGCNV_PIXEL_BGRA8_PACKED,
    static_cast<PixelFormat>(0),
    static_cast<PixelFormat>(0x01080002),
    static_cast<PixelFormat>(0x01080008),  // BayerGR8
    static_cast<PixelFormat>(0x0110000C),
    static_cast<PixelFormat>(0x010C002A),
};

Record with(Record record, int Record::*field, int value) {
    record.*field = value;
    return record;
}
const std::vector<Record> kBadRecords = [] {
    const Record good{2, 2, 0, 0, 4, IMGCNV_PIXEL_MONO8};
    std::vector<Record> bad;
    for (int Record::*field : {&Record::width, &Record::height, &Record::dataSize}) {
        for (int value : {0, -1, INT_MIN}) bad.push_back(with(good, field, value));
    }
    return bad;
}();

TEST(Open, RefusesAndLeavesEverythingAlone) {
    Record good{2, 2, 0, 0, 4, IMGCNV_PIXEL_MONO8};
    const IMGCNV_HANDLE untouched = &good;
    IMGCNV_HANDLE handle = untouched;
    int size = 77;
    const auto open = [&](Record* record, IMGCNV_HANDLE* out) {
        return IMGCNV_open(record, IMGCNV_PIXEL_MONO8, out, &size, IMGCNV_DEMOSAIC_BILINEAR);
    };
    EXPECT_EQ(open(nullptr, nullptr), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(open(&good, nullptr), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(open(nullptr, &handle), IMGCNV_ILLEGAL_PARAM);
    for (Record record : kBadRecords) {
        EXPECT_EQ(open(&record, &handle), IMGCNV_ILLEGAL_PARAM);
        record.pixelFormat = IMGCNV_PIXEL_UNDEFINED;  // geometry is looked at first
        EXPECT_EQ(open(&record, &handle), IMGCNV_ILLEGAL_PARAM);
    }
    for (PixelFormat format : kNoSources) {
        Record record = good;
        record.pixelFormat = format;
        EXPECT_EQ(open(&record, &handle), IMGCNV_NOT_SUPPORT) << std::hex << format;
    }
    EXPECT_EQ(handle, untouched);
    EXPECT_EQ(size, 77);
}

TEST(Open, CopiesTheRecordAndDoesNotJudgeTheRest) {
    Record record{2, 1, -5, INT_MIN, 2, IMGCNV_PIXEL_MONO8};
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    ASSERT_EQ(IMGCNV_open(&record, kNoDestination, &handle, &size, static_cast<Demosaic>(-9)), 0);
    EXPECT_EQ(size, 8);
    record = {1000, 1000, 1000, 0, 1000, IMGCNV_PIXEL_MONO16};
    uint8_t src[] = {1, 2}, dst[8];
    for (int i = 0; i < 2; ++i) EXPECT_EQ(IMGCNV_convert(handle, src, dst), IMGCNV_SUCCESS);
    EXPECT_EQ(Bytes(dst, dst + 8), (Bytes{1, 1, 1, 0, 2, 2, 2, 0}));
    EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
}

TEST(ConvertAndClose, RefuseNullPointers) {
    Record record{1, 1, 0, 0, 1, IMGCNV_PIXEL_MONO8};
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    uint8_t src = 1, dst = 77;
    ASSERT_EQ(IMGCNV_open(&record, IMGCNV_PIXEL_MONO8, &handle, &size, IMGCNV_DEMOSAIC_NEAREST), 0);
    EXPECT_EQ(IMGCNV_convert(nullptr, &src, &dst), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(IMGCNV_convert(handle, nullptr, &dst), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(IMGCNV_convert(handle, &src, nullptr), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(dst, 77);
    EXPECT_EQ(IMGCNV_close(nullptr), IMGCNV_ILLEGAL_PARAM);
    EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
}

TEST(OneShots, RefuseAndLeaveEverythingAlone) {
    for (const OneShot& f : kOneShots) {
        SCOPED_TRACE(f.name);
        uint8_t src[4] = {1, 2, 3, 4}, dst[16] = {77};
        int size = 78;
        Record good{2, 2, 0, 0, 4, IMGCNV_PIXEL_MONO8}, no_source = good;
        no_source.pixelFormat = IMGCNV_PIXEL_UNDEFINED;
        const auto call = [&](uint8_t* s, Record* r, uint8_t* d) {
            return f.call(s, r, d, &size, IMGCNV_DEMOSAIC_NEAREST);
        };
        EXPECT_EQ(call(src, nullptr, dst), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(call(nullptr, &good, dst), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(call(src, &good, nullptr), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(call(nullptr, &no_source, dst), IMGCNV_ILLEGAL_PARAM);  // pointers come first
        EXPECT_EQ(call(src, &no_source, nullptr), IMGCNV_ILLEGAL_PARAM);
        for (Record record : kBadRecords) {
            record.pixelFormat = IMGCNV_PIXEL_UNDEFINED;  // then the geometry
            EXPECT_EQ(call(src, &record, dst), IMGCNV_ILLEGAL_PARAM);
        }
        EXPECT_EQ(f.call(nullptr, nullptr, nullptr, nullptr, IMGCNV_DEMOSAIC_NEAREST),
                  IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(call(src, &no_source, dst), IMGCNV_NOT_SUPPORT);
        EXPECT_EQ(dst[0], 77);
        EXPECT_EQ(size, 78);
        size = 0;  // the format is looked at before the size
        EXPECT_EQ(call(src, &no_source, dst), IMGCNV_NOT_SUPPORT);
    }
}

// In 32 bits that wrap, and without asking whether such a frame can exist.
int32_t expected_size(const SourceFormat& s, uint32_t width, uint32_t height, PixelFormat dst,
                      int preset) {
    const uint32_t k = bytes_per_pixel(dst);
    if (has_no_size(s)) return preset;
    if (s.code == IMGCNV_PIXEL_MONO1C) return static_cast<int32_t>(width * height);
    const bool extra_row = is_bayer(s) && height != 1 && height % 2 == 1;
    return static_cast<int32_t>(width * k * (height + extra_row));
}

TEST(Open, ReportsTheSizeOfEveryFormatAndDestination) {
    const int geometries[][2] = {{1, 1},       {640, 479},     {640, 480},     {5, 3},
                                 {100, 50},    {46341, 46341}, {65536, 65536}, {INT_MAX, 1},
                                 {INT_MAX, 2}, {1, INT_MAX},   {3, INT_MAX},   {INT_MAX, INT_MAX}};
    for (const SourceFormat& s : kSources) {
        for (PixelFormat destination : kDestinations) {
            for (const auto& [width, height] : geometries) {
                Record record{width, height, 3, 0, 1, s.code};
                IMGCNV_HANDLE handle = nullptr;
                int size = 1234;
                ASSERT_EQ(
                    IMGCNV_open(&record, destination, &handle, &size, IMGCNV_DEMOSAIC_BILINEAR),
                    IMGCNV_SUCCESS);
                EXPECT_EQ(size, expected_size(s, width, height, destination, 1234))
                    << s.name << " " << width << "x" << height << " to " << std::hex << destination;
                EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
            }
        }
    }
    EXPECT_EQ(expected_size(kSources[10], 640, 479, IMGCNV_PIXEL_RGB8_PACKED, 0), 921600);
    EXPECT_EQ(expected_size(kSources[29], 100, 50, IMGCNV_PIXEL_BGRA8_PACKED, 0), 5000);
    EXPECT_EQ(expected_size(kSources[20], 4, 3, IMGCNV_PIXEL_BGRA8_PACKED, 0), 64);
    EXPECT_EQ(expected_size(kSources[2], 65536, 65536, IMGCNV_PIXEL_MONO8, 9), 0);
}

TEST(OneShots, ConvertFormatsWithoutASizeWhenItIsPresetAndKeepIt) {
    for (const SourceFormat& s : kSources) {
        if (!has_no_size(s)) continue;
        for (const OneShot& f : kOneShots) {
            Record record{8, 1, 0, 0, 24, s.code};
            Bytes src(24, 255), dst(32, 1);
            int size = 1;
            EXPECT_EQ(f.call(src.data(), &record, dst.data(), &size, IMGCNV_DEMOSAIC_BILINEAR), 0);
            EXPECT_EQ(size, 1) << s.name;
            EXPECT_EQ(dst[0], 255) << s.name;
        }
    }
}

TEST(OneShots, UseTheirDestinationAndMethod) {
    std::mt19937 random(run_seed());
    Frame frame = random_frame(kSources[10], 12, 6, 0, random);
    for (const OneShot& f : kOneShots) {
        for (Demosaic method : kMethods) {
            const Demosaic used = f.fixed_method ? IMGCNV_DEMOSAIC_BILINEAR : method;
            const Bytes expected = converted(frame, f.destination, used);
            Bytes dst(expected.size(), 0xA5);
            int size = 0;
            EXPECT_EQ(f.call(frame.bytes.data(), &frame.record, dst.data(), &size, method), 0);
            EXPECT_EQ(dst, expected) << f.name << " method " << method;
            EXPECT_EQ(size, static_cast<int>(expected.size())) << f.name;
        }
    }
}

TEST(Conversions, ReservedMeansNothing) {
    for (const SourceFormat& s : kSources) {
        std::mt19937 random(run_seed());
        Frame frame = random_frame(s, 10, 4, 1, random);
        const Bytes plain = converted(frame, IMGCNV_PIXEL_RGBA8_PACKED, 1);
        frame.record.reserved = INT_MIN;
        EXPECT_EQ(converted(frame, IMGCNV_PIXEL_RGBA8_PACKED, 1), plain) << s.name;
    }
}

// Pixel counts that are 0 in 32 bits: such frames are walked by that count.
TEST(Conversions, WrappedCountsReadAndWriteNothing) {
    for (PixelFormat format : {IMGCNV_PIXEL_MONO1P, IMGCNV_PIXEL_MONO4P}) {
        uint8_t src = 255, dst = 77;
        EXPECT_EQ(convert({65536, 65536, 0, 0, 1, format}, IMGCNV_PIXEL_MONO8, 1, &src, &dst), 0);
        EXPECT_EQ(dst, 77);
    }
}

using Orient = int (*)(unsigned char*, Record*, unsigned char*, int*);
const Orient kOrientations[] = {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical,
                                IMGCNV_RotationToAngle90, IMGCNV_RotationToAngle180,
                                IMGCNV_RotationToAngle270};

TEST(FlipsAndRotations, RefuseAndLeaveEverythingAlone) {
    const Record good{3, 2, 0, 0, 6, IMGCNV_PIXEL_MONO8};
    std::vector<Record> bad = kBadRecords;
    for (const SourceFormat& s : kSources) {
        if (s.code == IMGCNV_PIXEL_MONO8 || is_triples(s)) continue;
        for (int size : {6, 12, 18, 24}) bad.push_back({3, 2, 0, 0, size, s.code});
    }
    bad.push_back({3, 2, 0, 0, 24, IMGCNV_PIXEL_RGBA8_PACKED});
    bad.push_back({3, 2, 0, 0, 24, IMGCNV_PIXEL_BGRA8_PACKED});
    bad.push_back({3, 2, 0, 0, 6, IMGCNV_PIXEL_UNDEFINED});
    bad.push_back({3, 2, 0, 0, 6, IMGCNV_PIXEL_RGB8_PACKED});
    bad.push_back({3, 2, 0, 0, 18, IMGCNV_PIXEL_MONO8});
    bad.push_back({3, 2, 4, 0, 14, IMGCNV_PIXEL_MONO8});  // dataSize with padding
    bad.push_back({3, 2, 0, 0, 5, IMGCNV_PIXEL_MONO8});
    bad.push_back({65536, 65536, 0, 0, 1, IMGCNV_PIXEL_MONO8});
    for (Orient orient : kOrientations) {
        Bytes src(24, 9), dst(24, 77);
        int size = 78;
        for (const Record& record : bad) {
            Record copy = record;
            EXPECT_EQ(orient(src.data(), &copy, dst.data(), &size), IMGCNV_ILLEGAL_PARAM);
            EXPECT_TRUE(copy == record);
        }
        Record copy = good;
        EXPECT_EQ(orient(src.data(), nullptr, dst.data(), &size), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(orient(nullptr, &copy, dst.data(), &size), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(orient(src.data(), &copy, nullptr, &size), IMGCNV_ILLEGAL_PARAM);
        EXPECT_EQ(orient(src.data(), &copy, dst.data(), nullptr), IMGCNV_ILLEGAL_PARAM);
        EXPECT_TRUE(copy == good);
        EXPECT_EQ(size, 78);
        EXPECT_EQ(dst, Bytes(24, 77));
    }
}

}  // namespace
}  // namespace imgcnv::testing
