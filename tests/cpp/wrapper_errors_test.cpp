// What the C functions would trust, imgcnv.hpp refuses, and says why.
#include <gtest/gtest.h>
#include <imgcnv.hpp>

#include <algorithm>
#include <type_traits>

namespace {

using imgcnv::Converter;
using imgcnv::Demosaic;
using imgcnv::Destination;
using imgcnv::Error;
using imgcnv::Frame;
using imgcnv::PixelFormat;
using imgcnv::Status;
using Bytes = std::vector<std::uint8_t>;

constexpr int kMost = 0x7FFFFFFF;

TEST(WrapperErrors, RefusesFramesItCannotConvertInBounds) {
    const auto no_format = static_cast<PixelFormat>(0x01080008);
    const auto no_destination = static_cast<Destination>(IMGCNV_PIXEL_MONO16);
    struct Case {
        Frame frame;
        Destination destination;
        Error error;
    };
    for (const Case& c : std::initializer_list<Case>{
             {{no_format, 4, 4}, Destination::Mono8, {Status::NotSupport}},
             {{PixelFormat::Mono8, 4, 4}, no_destination, {Status::BadDestination}},
             {{PixelFormat::Mono8, 0, 4}, Destination::Mono8, {Status::BadWidth, 1, 0}},
             {{PixelFormat::Mono8, 4, -1}, Destination::Mono8, {Status::BadHeight, 1, -1}},
             {{PixelFormat::Mono8, 4, 4, -1}, Destination::Mono8, {Status::BadPadding, 0, -1}},
             {{PixelFormat::Mono4p, 4, 4, 1}, Destination::Mono8, {Status::BadPadding, 0, 1}},
             {{PixelFormat::Mono1C, 4, 4, 1}, Destination::Mono8, {Status::BadPadding, 0, 1}},
             {{PixelFormat::Mono12Packed, 1, 4}, Destination::Mono8, {Status::BadWidth, 2, 1}},
             {{PixelFormat::BayerRG8, 1, 2}, Destination::Mono8, {Status::BadWidth, 2, 1}},
             // One byte more than 32 bits can count, in each of the sizes.
             {{PixelFormat::Mono8, 1 << 15, 1 << 16},
              Destination::Mono8,
              {Status::TooLarge, kMost, 1LL << 31}},
             {{PixelFormat::Mono16, 1 << 15, 1 << 15},
              Destination::Mono8,
              {Status::TooLarge, kMost, 1LL << 31}},
             {{PixelFormat::Mono8, 1 << 14, 1 << 15},
              Destination::RGBA32,
              {Status::TooLarge, kMost, 1LL << 31}},
             {{PixelFormat::Mono8, 1, 2, kMost},  // kMost + 1 from row to row
              Destination::Mono8,
              {Status::TooLarge, kMost, 1LL << 31}},
             {{PixelFormat::BayerRG8, 2, 2, (1 << 30) - 2},  // fits but for the last padding
              Destination::Mono8,
              {Status::TooLarge, kMost, 1LL << 31}},
             {{PixelFormat::BayerRG8, (1 << 16) + 2, (1 << 15) - 1},  // fits but for the extra row
              Destination::Mono8,
              {Status::TooLarge, kMost, ((1LL << 16) + 2) << 15}},
             {{PixelFormat::Mono1p, kMost, kMost},
              Destination::Mono8,
              {Status::TooLarge, kMost, ((1LL << 62) - (1LL << 32) + 1 + 7) / 8}},
         }) {
        SCOPED_TRACE(std::string(to_string(c.frame.format)) + " " + std::to_string(c.frame.width) +
                     "x" + std::to_string(c.frame.height));
        const auto converter = Converter::open(c.frame, c.destination);
        EXPECT_EQ(converter.error(), c.error) << to_string(converter.error());
        EXPECT_FALSE(converter.has_value());
    }
    const auto no_method = static_cast<Demosaic>(3);
    EXPECT_EQ(Converter::open({PixelFormat::BayerRG8, 4, 4}, Destination::Mono8, no_method).error(),
              Error{Status::BadDemosaic});
}

TEST(WrapperErrors, OpensTheLargestFrameThereIs) {
    const auto layout = imgcnv::layout({PixelFormat::Mono8, kMost, 1}, Destination::Mono8);
    ASSERT_TRUE(layout) << to_string(layout.error());
    EXPECT_EQ(layout->size, static_cast<std::size_t>(kMost));
}

TEST(WrapperErrors, RefusesBuffersThatAreTooSmallOrOverlapAndWritesNothing) {
    auto converter = Converter::open({PixelFormat::BayerGB8, 4, 3}, Destination::RGB24).value();
    Bytes source(12), destination(48, 0xA5);
    const std::span<std::uint8_t> out(destination);
    EXPECT_EQ(converter.convert(std::span(source).first(11), out).error(),
              (Error{Status::SourceTooSmall, 12, 11}));
    // 4 x 3 x 3 bytes hold the picture, not the extra row.
    EXPECT_EQ(converter.convert(source, out.first(36)).error(),
              (Error{Status::DestinationTooSmall, 48, 36}));
    EXPECT_EQ(converter.convert(std::span(source).first(0), {}).error().status,
              Status::SourceTooSmall);

    Bytes shared(60, 0xA5);
    const std::span<std::uint8_t> both(shared);
    for (const std::size_t at : {0u, 1u, 47u}) {
        EXPECT_EQ(converter.convert(both.subspan(at), both).error(), Error{Status::Overlap}) << at;
    }
    const auto untouched = [](std::uint8_t byte) { return byte == 0xA5; };
    EXPECT_TRUE(std::all_of(destination.begin(), destination.end(), untouched));
    EXPECT_TRUE(std::all_of(shared.begin(), shared.end(), untouched));

    EXPECT_TRUE(converter.convert(both.subspan(48), both)) << "side by side";
}

TEST(WrapperErrors, ChecksPointsBeforeTheLibraryStoresThem) {
    auto converter = Converter::open({PixelFormat::Mono1C, 4, 3}, Destination::RGB24).value();
    const Bytes good{200, 0x00, 0x20, 0x03};  // row 2, column 3
    const Bytes end{0, 0, 0, 0};
    auto list = [](std::initializer_list<Bytes> points) {
        Bytes bytes;
        for (const Bytes& point : points) bytes.insert(bytes.end(), point.begin(), point.end());
        return bytes;
    };
    const Bytes row_0{9, 0x00, 0x00, 0x01}, row_4{9, 0x00, 0x40, 0x01};
    const Bytes column_0{9, 0x00, 0x10, 0x00}, column_5{9, 0x00, 0x10, 0x05};
    struct Case {
        Bytes list;
        Error error;
    };
    for (const Case& c : {Case{list({good, row_0}), {Status::BadPoint, 3, 0}},
                          Case{list({good, row_4}), {Status::BadPoint, 3, 4}},
                          Case{list({good, column_0}), {Status::BadPoint, 4, 0}},
                          Case{list({good, column_5}), {Status::BadPoint, 4, 5}},
                          Case{list({good, {1, 2}}), {Status::BadPoint, 4, 2}}}) {
        Bytes picture(12, 0xA5);
        EXPECT_EQ(converter.convert(c.list, picture).error(), c.error);
        EXPECT_EQ(picture, Bytes(12, 0xA5));
    }
    // Lists of any length through one converter; what follows the end is not looked at.
    const Bytes one_point{0, 0, 0, 0, 0, 0, 200, 0, 0, 0, 0, 0};
    EXPECT_EQ(converter.convert(Bytes{}).value(), Bytes(12));
    EXPECT_EQ(converter.convert(good).value(), one_point);
    EXPECT_EQ(converter.convert(list({good, good, end, row_0})).value(), one_point);
    EXPECT_EQ(converter.convert(end).value(), Bytes(12));
}

TEST(WrapperErrors, TurnsOnlyWhatTheLibraryCanTurn) {
    using imgcnv::Turn;
    Bytes source(64), destination(64);
    imgcnv::Layout picture = imgcnv::layout({PixelFormat::Mono8, 4, 4}, Destination::RGB24).value();
    auto error = [&](const imgcnv::Layout& layout, std::size_t in = 64, std::size_t out = 64) {
        return imgcnv::turn(Turn::Rotate90, layout, std::span(source).first(in),
                            std::span(destination).first(out))
            .error();
    };
    EXPECT_EQ(error(picture, 48, 48), Error{Status::Success});
    EXPECT_EQ(error(picture, 47), (Error{Status::SourceTooSmall, 48, 47}));
    EXPECT_EQ(error(picture, 48, 47), (Error{Status::DestinationTooSmall, 48, 47}));
    EXPECT_EQ(imgcnv::turn(static_cast<Turn>(5), picture, source, destination).error(),
              Error{Status::BadTurn});
    EXPECT_EQ(imgcnv::turn(Turn::Rotate90, picture, source, source).error(),
              Error{Status::Overlap});
    picture.stride = 14;
    EXPECT_EQ(error(picture), (Error{Status::BadPadding, 12, 14}));
    picture.format = Destination::RGBA32;
    EXPECT_EQ(error(picture), Error{Status::BadDestination});
}

TEST(WrapperErrors, MovedFromConvertersAreClosed) {
    static_assert(!std::is_copy_constructible_v<Converter>);
    static_assert(std::is_nothrow_move_constructible_v<Converter>);
    auto first = Converter::open({PixelFormat::Mono8, 2, 1}, Destination::Mono8).value();
    Converter second = std::move(first);
    EXPECT_EQ(second.convert(Bytes{1, 2}).value(), (Bytes{1, 2}));
    Bytes picture(2);
    EXPECT_EQ(first.convert(Bytes{1, 2}, picture).error(), Error{Status::ErrOrder});
}

TEST(WrapperErrors, TellNumbersAndThrowOnlyWhenAskedForTheValue) {
    const imgcnv::Result<int> none = Error{Status::SourceTooSmall, 540000, 539999};
    EXPECT_EQ(to_string(none.error()), "source too small (expected 540000, given 539999)");
    EXPECT_EQ(to_string(Error{Status::NoMemory}), "out of memory");
    try {
        (void)none.value();
        FAIL() << "no exception";
    } catch (const imgcnv::BadResult& bad) {
        EXPECT_EQ(bad.error(), none.error());
    }
}

TEST(WrapperNames, AreReadBackAndTellEveryStatus) {
    for (const PixelFormat format : imgcnv::source_formats) {
        EXPECT_EQ(imgcnv::pixel_format_from_string(to_string(format)), format);
    }
    EXPECT_EQ(imgcnv::pixel_format_from_string("bayerrg8"), std::nullopt);
    EXPECT_EQ(to_string(static_cast<PixelFormat>(0)), "unknown pixel format");
    for (int status = 0; status <= static_cast<int>(Status::BadPoint); ++status) {
        const bool known = status <= 4 || status >= 100;
        EXPECT_EQ(to_string(static_cast<Status>(status)) != "unknown status", known) << status;
    }
}

}  // namespace
