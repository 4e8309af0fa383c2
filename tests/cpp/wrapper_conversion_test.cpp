// Every format through imgcnv.hpp gives what the C functions give, in a buffer of exactly the size
// that the header computes, from a source of exactly the size that it asks for.
#include <gtest/gtest.h>
#include <imgcnv.hpp>

#include <random>

#include "support/guarded_buffer.h"

namespace {

using imgcnv::Demosaic;
using imgcnv::Destination;
using imgcnv::Frame;
using imgcnv::PixelFormat;
using imgcnv::testing::Guard;
using imgcnv::testing::GuardedRegion;
using Bytes = std::vector<std::uint8_t>;

constexpr Destination kDestinations[] = {Destination::Mono8, Destination::RGB24, Destination::BGR24,
                                         Destination::RGBA32, Destination::BGRA32};
constexpr Demosaic kMethods[] = {Demosaic::Nearest, Demosaic::Bilinear, Demosaic::Adaptive};

int bits_per_pixel(PixelFormat format) { return (static_cast<int>(format) >> 16) & 0xFF; }

bool is_bayer(PixelFormat format) { return to_string(format).starts_with("Bayer"); }

// The record that a C program writes for such frames. Where rows are what the camera sends:
// pixels to whole bytes, then the padding.
IMGCNV_SOpenParam record_of(const Frame& frame) {
    const int bits = bits_per_pixel(frame.format);
    int pixels = frame.width;
    if (frame.format == PixelFormat::YUV411Packed) pixels = (pixels + 3) / 4 * 4;
    if (to_string(frame.format).starts_with("YUV422")) pixels = (pixels + 1) / 2 * 2;
    const int row_bytes = (pixels * bits + 7) / 8;
    IMGCNV_SOpenParam record{frame.width,
                             frame.height,
                             frame.row_padding,
                             0,
                             (row_bytes + frame.row_padding) * frame.height,
                             static_cast<IMGCNV_EPixelFormat>(frame.format)};
    if (bits < 8) record.dataSize = (frame.width * frame.height * bits + 7) / 8;
    const bool packed_mono =
        frame.format == PixelFormat::Mono10Packed || frame.format == PixelFormat::Mono12Packed;
    if (packed_mono && frame.width % 2 == 1) record.rowPadding += 2;
    return record;
}

// A source for the record: random bytes, or a list of points inside the picture.
Bytes source_of(const IMGCNV_SOpenParam& record, std::mt19937& random) {
    Bytes bytes(static_cast<std::size_t>(record.dataSize));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    if (record.pixelFormat == IMGCNV_PIXEL_MONO1C) {
        for (std::size_t at = 0; at < bytes.size(); at += 4) {
            const auto row = random() % static_cast<unsigned>(record.height) + 1;
            const auto column = random() % static_cast<unsigned>(record.width) + 1;
            bytes[at + 1] = static_cast<std::uint8_t>(row >> 4);
            bytes[at + 2] = static_cast<std::uint8_t>(row << 4 | column >> 8);
            bytes[at + 3] = static_cast<std::uint8_t>(column);
        }
    }
    return bytes;
}

// What the C functions make of the source in far more memory than they need.
Bytes by_c_functions(IMGCNV_SOpenParam record, Destination destination, Demosaic demosaic,
                     Bytes source, std::uint8_t fill) {
    const auto room =
        static_cast<std::size_t>((record.width + 8) * (record.height + 2) * 4 + record.dataSize);
    Bytes picture(room, fill);
    IMGCNV_HANDLE handle = nullptr;
    int reported = 0;
    EXPECT_EQ(IMGCNV_open(&record, static_cast<IMGCNV_EPixelFormat>(destination), &handle,
                          &reported, static_cast<IMGCNV_EBayerDemosaic>(demosaic)),
              IMGCNV_SUCCESS);
    EXPECT_EQ(IMGCNV_convert(handle, source.data(), picture.data()), IMGCNV_SUCCESS);
    EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
    return picture;
}

// Up to and with the last byte that was written.
std::size_t extent(const Bytes& filled_with_0, const Bytes& filled_with_ff) {
    std::size_t end = filled_with_0.size();
    while (end > 0 && filled_with_0[end - 1] == 0x00 && filled_with_ff[end - 1] == 0xFF) --end;
    return end;
}

class EveryFormat : public testing::TestWithParam<PixelFormat> {};

TEST_P(EveryFormat, GivesWhatTheCFunctionsGive) {
    const PixelFormat format = GetParam();
    const bool padding_possible = bits_per_pixel(format) >= 8 && format != PixelFormat::Mono1C;
    GuardedRegion in_region(1 << 16), out_region(1 << 16);
    std::mt19937 random(20);
    for (const auto& [width, height] :
         {std::pair{8, 4}, {7, 4}, {6, 5}, {5, 1}, {9, 3}, {2, 2}, {101, 37}, {640, 6}}) {
        for (const int padding : {0, 5}) {
            if (padding > 0 && !padding_possible) continue;
            const Frame frame{format, width, height, padding};
            const IMGCNV_SOpenParam record = record_of(frame);
            const Bytes source = source_of(record, random);
            for (const Destination destination : kDestinations) {
                for (const Demosaic demosaic : kMethods) {
                    if (demosaic != Demosaic::Bilinear && !is_bayer(format)) continue;
                    SCOPED_TRACE(std::string(to_string(format)) + " " + std::to_string(width) +
                                 "x" + std::to_string(height) + " padding " +
                                 std::to_string(padding) + " to " +
                                 std::string(to_string(destination)) + ", " +
                                 std::string(to_string(demosaic)));
                    const Bytes c0 = by_c_functions(record, destination, demosaic, source, 0x00);
                    const Bytes cf = by_c_functions(record, destination, demosaic, source, 0xFF);

                    auto converter = imgcnv::Converter::open(frame, destination, demosaic);
                    ASSERT_TRUE(converter) << to_string(converter.error());
                    const imgcnv::Layout& layout = converter->layout();
                    // Nothing is written beyond the computed size, which is no larger than that
                    // takes: nearest and adaptive leave out at most the last pixel and an alpha
                    // byte before it, Mono1p the last seven pixels.
                    std::size_t written = extent(c0, cf);
                    const bool copied = layout.bytes_per_pixel == 3 &&
                                        static_cast<int>(format) == static_cast<int>(destination);
                    if (copied) written -= static_cast<std::size_t>(padding);  // of the last row
                    EXPECT_LE(written, layout.size);
                    const int left_out =
                        format == PixelFormat::Mono1p ? 7 : layout.bytes_per_pixel + 1;
                    EXPECT_LE(layout.size - written, static_cast<std::size_t>(left_out));

                    const std::size_t source_size =
                        format == PixelFormat::Mono1C ? source.size() : layout.source_size;
                    ASSERT_LE(source_size, source.size());
                    const auto in =
                        in_region.place(std::span(source).first(source_size), Guard::kAfter);
                    const auto out = out_region.place(layout.size, Guard::kAfter, 0xFF);
                    const auto done = converter->convert(in, out);
                    ASSERT_TRUE(done) << to_string(done.error());
                    EXPECT_TRUE(out_region.intact());
                    EXPECT_TRUE(std::equal(out.begin(), out.end(), cf.begin()));

                    const auto vector = imgcnv::convert(frame, destination, source, demosaic);
                    ASSERT_TRUE(vector) << to_string(vector.error());
                    EXPECT_EQ(vector->size(), layout.picture_size());
                    EXPECT_TRUE(std::equal(vector->begin(), vector->end(), c0.begin()));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Wrapper, EveryFormat, testing::ValuesIn(imgcnv::source_formats),
                         [](const auto& info) { return std::string(to_string(info.param)); });

// Layout says where a pixel is: a flat frame with one column of its own finds it again.
TEST(WrapperLayout, FindsEachRowOfAPictureWithExtraColumnsOrPadding) {
    struct Case {
        Frame frame;
        Destination destination;
        int width;
        std::size_t stride;
    };
    for (const Case& c : std::initializer_list<Case>{
             {{PixelFormat::YUV422Packed, 3, 4, 0}, Destination::RGB24, 3, 12},
             {{PixelFormat::YUV411Packed, 5, 4, 2}, Destination::Mono8, 5, 8},
             {{PixelFormat::RGB8Packed, 3, 4, 2}, Destination::RGB24, 3, 11},
             {{PixelFormat::RGB8Packed, 3, 4, 2}, Destination::BGR24, 3, 9},
             {{PixelFormat::Mono12Packed, 5, 4, 1}, Destination::RGBA32, 4, 16},
             {{PixelFormat::BayerRG12Packed, 5, 3, 0}, Destination::Mono8, 4, 4},
             {{PixelFormat::BayerRG12Packed, 5, 1, 0}, Destination::Mono8, 5, 5},
             {{PixelFormat::Mono1p, 5, 4, 0}, Destination::RGBA32, 5, 5},
         }) {
        SCOPED_TRACE(to_string(c.frame.format));
        const auto layout = imgcnv::layout(c.frame, c.destination).value();
        EXPECT_EQ(layout.width, c.width);
        EXPECT_EQ(layout.stride, c.stride);
    }
}

TEST(WrapperTurn, MovesPixelsAsTheCFunctionsAndDescribesTheResult) {
    using imgcnv::Turn;
    const Bytes source{1, 2, 3, 4, 5, 6};
    const imgcnv::Layout picture =
        imgcnv::layout({PixelFormat::Mono8, 3, 2}, Destination::Mono8).value();
    struct Case {
        Turn turn;
        Bytes expected;
        int width;
    };
    for (const Case& c :
         {Case{Turn::FlipHorizontal, {3, 2, 1, 6, 5, 4}, 3},
          Case{Turn::FlipVertical, {4, 5, 6, 1, 2, 3}, 3},
          Case{Turn::Rotate90, {4, 1, 5, 2, 6, 3}, 2}, Case{Turn::Rotate180, {6, 5, 4, 3, 2, 1}, 3},
          Case{Turn::Rotate270, {3, 6, 2, 5, 1, 4}, 2}}) {
        SCOPED_TRACE(static_cast<int>(c.turn));
        Bytes turned(6);
        const imgcnv::Layout after = imgcnv::turn(c.turn, picture, source, turned).value();
        EXPECT_EQ(turned, c.expected);
        EXPECT_EQ(after.width, c.width);
        EXPECT_EQ(after.stride, static_cast<std::size_t>(c.width));
        EXPECT_EQ(after.height, 6 / c.width);
    }
}

}  // namespace
