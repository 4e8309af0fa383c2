// Exact ranges: which bytes a conversion reads, which it writes, which of the
// destination's it leaves alone, on widths around vector blocks.
#include <memory>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

const int kWidths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  15,  16,
                       17, 30, 31, 32, 33, 47, 63, 64, 65, 127, 130};
const int kHeights[] = {1, 2, 3, 6};

// Inside the range a conversion may write, the bytes that it does not.
bool is_left_alone(const Frame& frame, PixelFormat destination, int method, size_t at) {
    const Record& r = frame.record;
    const SourceFormat& s = frame.format;
    if (!is_bayer(s) || r.height == 1) return false;
    const size_t k = destination == kNoDestination ? 3 : bytes_per_pixel(destination);
    const size_t width = round_up(r.width, s.group), height = round_up(r.height, 2);
    if (width < 2) return true;
    const size_t x = at / k % width, y = at / k / width;
    const bool odd_last_column = width % 2 == 1 && x == width - 1;
    if (method == IMGCNV_DEMOSAIC_NEAREST) return odd_last_column;
    if (method == IMGCNV_DEMOSAIC_BILINEAR) return false;
    const bool is_gb = std::string_view(s.name).starts_with("BayerGB");
    if (odd_last_column && y == (is_gb ? 0 : height - 1)) return true;
    return k == 4 && at % 4 == 3 && (y == height - 1 || x == width - 1);
}

// One conversion with guard pages on one side, once for each of two fills: a
// byte is left alone when it differs, and otherwise must not depend on what
// was there.
void check(const Frame& frame, PixelFormat destination, int method, Guard guard,
           GuardedRegion& source, GuardedRegion& target) {
    const Record& r = frame.record;
    SCOPED_TRACE(::testing::Message()
                 << frame.format.name << " " << r.width << "x" << r.height << " padding "
                 << r.rowPadding << " to " << std::hex << destination << " method " << method
                 << (guard == Guard::kAfter ? ", page ends" : ", page begins"));
    const size_t read = bytes_read(frame.format, r, destination);
    const size_t written = bytes_written(frame.format, r, destination);
    ASSERT_LE(read, frame.bytes.size());
    const auto src = source.place(std::span(frame.bytes).first(read), guard);
    Bytes results[2];
    for (int i = 0; i < 2; ++i) {
        const auto dst = target.place(written, guard, i == 0 ? 0x00 : 0xFF);
        ASSERT_EQ(convert(r, destination, method, src.data(), dst.data()), IMGCNV_SUCCESS);
        ASSERT_TRUE(target.intact());
        results[i].assign(dst.begin(), dst.end());
    }
    ASSERT_TRUE(std::equal(src.begin(), src.end(), frame.bytes.begin())) << "source changed";
    for (size_t i = 0; i < written; ++i) {
        const bool left_alone = results[0][i] == 0x00 && results[1][i] == 0xFF;
        ASSERT_TRUE(left_alone || results[0][i] == results[1][i]) << "byte " << i;
        ASSERT_EQ(left_alone, is_left_alone(frame, destination, method, i)) << "byte " << i;
    }
}

TEST(Ranges, NothingOutsideIsTouchedAndNothingInsideForgotten) {
    std::mt19937 random(run_seed());
    GuardedRegion source(1 << 16), target(1 << 16);
    for (const SourceFormat& s : kSources) {
        for (int width : kWidths) {
            for (int height : kHeights) {
                const int padding = random() % 4 == 0 ? random() % 70 : random() % 3;
                const Frame frame = random_frame(s, width, height, padding, random);
                for (PixelFormat destination : kDestinations) {
                    for (Demosaic method : kMethods) {
                        if (!is_bayer(s) && method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                        check(frame, destination, method, kGuards[random() % 2], source, target);
                        if (HasFatalFailure()) return;
                    }
                }
            }
        }
    }
}

// What lies between the rows has no say in the picture. (Not so where a format
// has no rows, nor where RGB or BGR is copied whole.)
TEST(Ranges, PaddingNeverChangesAByte) {
    std::mt19937 random(run_seed());
    for (const SourceFormat& s : kSources) {
        if (is_stream(s) || s.code == IMGCNV_PIXEL_MONO1C) continue;
        for (int width : kWidths) {
            const int height = 1 + random() % 6, row = row_bytes(s, width);
            const Frame dense = random_frame(s, width, height, 0, random);
            Frame padded = random_frame(s, width, height, 1 + random() % 40, random);
            for (int y = 0; y < height; ++y) {
                std::copy_n(&dense.bytes[y * row], row,
                            &padded.bytes[y * (row + padded.record.rowPadding)]);
            }
            for (PixelFormat destination : kDestinations) {
                if (destination == s.code) continue;
                for (Demosaic method : kMethods) {
                    if (bytes_written(s, dense.record, destination) == 0) continue;
                    ASSERT_EQ(converted(padded, destination, method),
                              converted(dense, destination, method))
                        << s.name << " " << width << "x" << height << " to " << std::hex
                        << destination << " method " << method;
                }
            }
        }
    }
}

// With a negative padding, rows begin before the ones above them have ended. What
// lies around a row in memory is then not always the frame's.
TEST(Ranges, MosaicRowsMayOverlap) {
    constexpr int kHeight = 8;
    std::mt19937 random(run_seed());
    GuardedRegion source(1 << 12), target(1 << 17);
    for (const SourceFormat& s : kSources) {
        if (!is_bayer(s) || row_bytes(s, 2) != 2) continue;
        // The wide frame takes all the lines on the stack that there are.
        for (const auto& [stride, beyond] :
             {std::pair(0, 2), {0, 3}, {1, 3}, {1, 3000}, {7, 5}, {64, 2}, {64, 3}, {130, 4}}) {
            const int width = stride + beyond;
            Frame apart = random_frame(s, width, kHeight, 0, random);
            Bytes overlapping(static_cast<size_t>(stride * (kHeight - 1) + width));
            for (uint8_t& sample : overlapping) sample = static_cast<uint8_t>(random());
            for (int y = 0; y < kHeight; ++y) {
                std::copy_n(&overlapping[y * stride], width, &apart.bytes[y * width]);
            }
            Record record = apart.record;
            record.rowPadding = stride - width;
            record.dataSize = std::max(stride * kHeight, 1);
            for (PixelFormat destination : kDestinations) {
                for (Demosaic method : kMethods) {
                    const Bytes wanted = converted(apart, destination, method, 0xA5);
                    const auto src = source.place(overlapping, kGuards[random() % 2]);
                    const auto dst = target.place(wanted.size(), kGuards[random() % 2], 0xA5);
                    ASSERT_EQ(convert(record, destination, method, src.data(), dst.data()),
                              IMGCNV_SUCCESS);
                    ASSERT_TRUE(target.intact());
                    ASSERT_TRUE(std::equal(dst.begin(), dst.end(), wanted.begin()))
                        << s.name << " width " << width << " stride " << stride << " to "
                        << std::hex << destination << " method " << method;
                }
            }
        }
    }
}

// The rows of a mosaic follow from dataSize / height: what the division leaves over lies behind
// the last row.
TEST(Ranges, BytesBehindTheLastRowDoNotMoveTheOthers) {
    std::mt19937 random(run_seed());
    for (const SourceFormat& s : kSources) {
        if (!is_bayer(s)) continue;
        for (int height : {2, 7, 63, 64, 65, 66, 100, 129}) {
            const Frame exact = random_frame(s, 6, height, random() % 3, random);
            Frame longer = exact;
            longer.record.dataSize += 1 + static_cast<int>(random() % (height - 1));
            longer.bytes.resize(longer.record.dataSize, 0x5A);
            for (Demosaic method : kMethods) {
                ASSERT_EQ(converted(longer, IMGCNV_PIXEL_RGB8_PACKED, method),
                          converted(exact, IMGCNV_PIXEL_RGB8_PACKED, method))
                    << s.name << " of " << height << " rows, method " << method;
            }
        }
    }
}

// Points far from the origin, whose rows and columns have all bits of their fields.
TEST(Ranges, Mono1CPointsReachTheLastRowsAndColumns) {
    const int width = 4095, height = 4095;
    Bytes points;
    std::vector<size_t> places;
    for (int row : {1, 1023, 1024, 2047, 2048, 2049, 3000, 4095}) {
        for (int column : {1, 1023, 1024, 1025, 2047, 2048, 4095}) {
            const uint32_t place = static_cast<uint32_t>(row) << 12 | static_cast<uint32_t>(column);
            points.insert(
                points.end(),
                {static_cast<uint8_t>(places.size() + 1), static_cast<uint8_t>(place >> 16),
                 static_cast<uint8_t>(place >> 8), static_cast<uint8_t>(place)});
            places.push_back(static_cast<size_t>(row - 1) * width + column - 1);
        }
    }
    Bytes expected(static_cast<size_t>(width) * height);
    for (size_t i = 0; i < places.size(); ++i) expected[places[i]] = static_cast<uint8_t>(i + 1);
    const Record record{width, height, 0, 0, static_cast<int>(points.size()), IMGCNV_PIXEL_MONO1C};
    EXPECT_TRUE(converted(record, points, IMGCNV_PIXEL_MONO8, 0, expected.size()) == expected);
}

// Padding may be memory that nobody wrote to: no branch depends on it (a memory checker that
// runs this test reports it), and no pixel.
TEST(Ranges, PaddingMayBeUninitialised) {
    std::mt19937 random(run_seed());
    for (const SourceFormat& s : kSources) {
        if (is_stream(s) || s.code == IMGCNV_PIXEL_MONO1C) continue;
        for (int width : {2, 5, 6, 17, 34, 131}) {
            const int height = 7, row = row_bytes(s, width), padding = 5;
            const Frame dense = random_frame(s, width, height, 0, random);
            const std::unique_ptr<uint8_t[]> padded(new uint8_t[(row + padding) * height]);
            for (int y = 0; y < height; ++y) {
                std::copy_n(&dense.bytes[y * row], row, &padded[y * (row + padding)]);
            }
            Record record = dense.record;
            record.rowPadding = padding;
            record.dataSize = (row + padding) * height;
            for (PixelFormat destination : kDestinations) {
                if (destination == s.code || is_triples(s)) continue;
                for (Demosaic method : kMethods) {
                    if (!is_bayer(s) && method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                    const Bytes wanted = converted(dense, destination, method);
                    Bytes result(wanted.size(), 0xA5);
                    ASSERT_EQ(convert(record, destination, method, padded.get(), result.data()),
                              IMGCNV_SUCCESS);
                    ASSERT_TRUE(result == wanted)
                        << s.name << " " << width << " wide to " << std::hex << destination
                        << " method " << method;
                }
            }
        }
    }
}

}  // namespace
}  // namespace imgcnv::testing
