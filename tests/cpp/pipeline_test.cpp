// imgcnv::Pipeline gives what the C calls of the engine give: pictures, sizes, statuses and texts.
#include <gtest/gtest.h>
#include <imgcnv.hpp>

#include <algorithm>
#include <cstring>
#include <random>
#include <type_traits>

#include "support/guarded_buffer.h"

namespace {

using imgcnv::Failure;
using imgcnv::Pipeline;
using imgcnv::RawFrame;
using imgcnv::Target;
using imgcnv::testing::Guard;
using imgcnv::testing::GuardedRegion;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kUntouched = 0xA5;

Bytes random_bytes(std::size_t size) {
    static std::mt19937 random(20);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

// The frame and target as a C program fills them in.
struct CWishes {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    imgcnv_target target = IMGCNV_TARGET_INIT;

    CWishes(const RawFrame& f, const Target& t) {
        frame.format = f.format;
        frame.flags = f.flags;
        frame.width = f.width;
        frame.height = f.height;
        frame.stride = f.stride;
        target.kind = t.kind;
        target.demosaic = t.demosaic;
        target.rotation = t.rotation;
        target.flags = t.flags;
        target.threads = t.threads;
        target.stride = t.stride;
        if (t.levels) {
            levels.black = t.levels->black;
            levels.white = t.levels->white;
            levels.red_gain = t.levels->red_gain;
            levels.green_gain = t.levels->green_gain;
            levels.blue_gain = t.levels->blue_gain;
            levels.gamma = t.levels->gamma;
            levels.contrast = t.levels->contrast;
            if (t.levels->curve) levels.curve = t.levels->curve->data();
            target.levels = &levels;
        }
    }
};

std::array<std::uint8_t, 768> inverted() {
    std::array<std::uint8_t, 768> curve{};
    for (std::size_t i = 0; i < curve.size(); ++i) curve[i] = static_cast<std::uint8_t>(255 - i);
    return curve;
}

std::vector<Target> targets() {
    return {
        {.kind = IMGCNV_TARGET_MONO8},
        {.kind = IMGCNV_TARGET_RGB24, .demosaic = IMGCNV_ADAPTIVE},
        {.kind = IMGCNV_TARGET_BGR24, .rotation = 90, .flags = IMGCNV_TARGET_FLIP_VERTICAL},
        {.kind = IMGCNV_TARGET_RGBA32, .demosaic = IMGCNV_NEAREST, .threads = 2},
        {.kind = IMGCNV_TARGET_BGRA32, .flags = IMGCNV_TARGET_KEEP_ALPHA},
        {.kind = IMGCNV_TARGET_RAW16, .flags = IMGCNV_TARGET_FULL_SCALE},
        {.kind = IMGCNV_TARGET_RGB48, .levels = imgcnv::Levels{.black = 3, .red_gain = 2}},
        {.kind = IMGCNV_TARGET_BGR24,
         .levels =
             imgcnv::Levels{.green_gain = 1.5, .blue_gain = 0.5, .gamma = 2.2, .contrast = 1.2}},
        {.kind = IMGCNV_TARGET_RGB24, .levels = imgcnv::Levels{.white = 200, .curve = inverted()}},
    };
}

// What the C call makes of the source, and why it does not.
Failure by_c_call(const CWishes& c, const Bytes& source, std::span<std::uint8_t> picture) {
    char text[IMGCNV_TEXT_BYTES];
    const int status = imgcnv_convert_frame(&c.frame, &c.target, source.data(), source.size(),
                                            picture.data(), picture.size(), text, sizeof text);
    return {static_cast<imgcnv_status>(status), text};
}

class EveryEngineFormat : public testing::TestWithParam<imgcnv_format_info> {};

// Of every format, some sizes, strides and targets; memory that is just large enough.
TEST_P(EveryEngineFormat, GivesWhatTheCCallGives) {
    const imgcnv_format_info& format = GetParam();
    const bool is_points = format.layout == IMGCNV_LAYOUT_POINTS;
    GuardedRegion in_region(1 << 16), out_region(1 << 17);
    for (const auto& [width, height] : {std::pair{8, 4}, {7, 5}, {1, 3}, {33, 2}}) {
        for (const int padding : {0, 6}) {
            RawFrame frame{.format = format.code, .width = width, .height = height};
            if (padding != 0 && is_points) continue;
            if (padding != 0) frame.stride = imgcnv_row_bytes(format.code, width) + padding;
            const auto sizes = imgcnv::measure(frame);
            ASSERT_TRUE(sizes) << sizes.error().text;
            const Bytes source = is_points
                                     ? Bytes{9, 0x00, 0x10, 0x01}
                                     : random_bytes(static_cast<std::size_t>(sizes->needed_bytes));
            for (Target target : targets()) {
                for (const int gap : {0, 10}) {
                    SCOPED_TRACE(std::string(format.name) + " " + std::to_string(width) + "x" +
                                 std::to_string(height) + " padding " + std::to_string(padding) +
                                 " to " + imgcnv_target_name(target.kind) + " gap " +
                                 std::to_string(gap));
                    target.stride = gap;  // the least stride is not known yet
                    if (gap != 0) target.stride += 8 * (target.rotation == 90 ? height : width);
                    Bytes expected(1 << 13, kUntouched);
                    const CWishes c(frame, target);
                    const Failure c_failure = by_c_call(c, source, expected);

                    auto pipeline = Pipeline::open(frame, target);
                    ASSERT_EQ(pipeline.error(), c_failure);
                    if (!pipeline) continue;
                    const std::size_t size = pipeline->bytes();
                    const auto in = in_region.place(std::span(source), Guard::kAfter);
                    const auto out = out_region.place(size, Guard::kAfter, kUntouched);
                    const auto done = pipeline->run(in, out);
                    ASSERT_TRUE(done) << done.error().text;
                    EXPECT_EQ(done->size(), size);
                    EXPECT_TRUE(out_region.intact());
                    expected.resize(size);
                    EXPECT_TRUE(std::ranges::equal(*done, expected));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Wrapper, EveryEngineFormat, testing::ValuesIn(imgcnv::formats()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(WrapperPipeline, TakesBytesAndWordsFromAnyContiguousRange) {
    const RawFrame frame = RawFrame::of("Mono12", 2, 1).value();
    auto pipeline = Pipeline::open(frame, {.kind = IMGCNV_TARGET_RAW16}).value();
    const std::array<std::uint16_t, 2> words{0x0ABC, 0x0123};
    const std::vector<std::uint16_t> expected{0x0ABC, 0x0123};
    EXPECT_EQ(pipeline.run<std::uint16_t>(words).value(), expected);

    std::vector<std::uint16_t> picture(5, 7);
    const std::span<std::uint16_t> part =
        pipeline.run(std::as_bytes(std::span(words)), picture).value();
    EXPECT_EQ(part.data(), picture.data());
    EXPECT_EQ(part.size(), 2u);
    EXPECT_EQ(picture, (std::vector<std::uint16_t>{0x0ABC, 0x0123, 7, 7, 7}));

    std::array<std::byte, 4> bytes{};
    EXPECT_EQ(pipeline.run(words, bytes).value().size(), 4u);
    EXPECT_EQ(std::memcmp(bytes.data(), words.data(), 4), 0);

    // Three bytes take two words.
    auto grey = Pipeline::open(RawFrame::of("Mono8", 3, 1).value(), {.kind = IMGCNV_TARGET_MONO8});
    EXPECT_EQ(grey->run<std::uint16_t>(Bytes(3)).value().size(), 2u);

    // Nothing that would take a picture away with it, nor what is not made of bytes.
    using Word = std::uint16_t;
    static_assert(!imgcnv::detail::Writable<std::vector<Word>>);
    static_assert(!imgcnv::detail::Writable<const std::vector<Word>&>);
    static_assert(!imgcnv::detail::Writable<std::vector<float>&>);
    static_assert(imgcnv::detail::Writable<std::span<Word>>);
}

TEST(WrapperPipeline, MakesAVectorOfRowsWithTheStrideAskedFor) {
    const RawFrame frame = RawFrame::of("Mono8", 2, 2).value();
    const Bytes source{1, 2, 3, 4};
    const auto picture =
        imgcnv::convert(frame, {.kind = IMGCNV_TARGET_MONO8, .stride = 5}, source).value();
    EXPECT_EQ(picture, (Bytes{1, 2, 0, 0, 0, 3, 4}));
}

TEST(WrapperPipeline, FailsWithTheTextOfTheEngineAndWritesNothing) {
    const RawFrame frame = RawFrame::of("BayerRG8", 4, 4).value();
    auto pipeline = Pipeline::open(frame).value();
    const Bytes source(16);
    Bytes picture(48, kUntouched);
    for (const auto& [given, room] : {std::pair<std::size_t, std::size_t>{15, 48}, {16, 47}}) {
        const auto part = std::span(picture).first(room);
        const auto failed = pipeline.run(std::span(source).first(given), part).error();
        EXPECT_EQ(failed, by_c_call(CWishes(frame, {}), Bytes(given), part));
        EXPECT_EQ(failed.status, IMGCNV_BAD_SIZE);
        EXPECT_NE(failed.text, "");
    }
    EXPECT_EQ(pipeline.run(std::span(picture).first(16), picture).error().status, IMGCNV_OVERLAP);
    EXPECT_EQ(picture, Bytes(48, kUntouched));
    EXPECT_EQ(pipeline.run(source, picture).error(), Failure{IMGCNV_OK});

    // An empty vector is too short, and is an empty list of points.
    EXPECT_EQ(pipeline.run(Bytes{}).error().status, IMGCNV_BAD_SIZE);
    const RawFrame points = RawFrame::of("Mono1C", 2, 1).value();
    EXPECT_EQ(imgcnv::convert(points, {.kind = IMGCNV_TARGET_MONO8}, Bytes{}).value(), Bytes(2));

    const auto small = Pipeline::open(frame, {.stride = 11}).error();
    EXPECT_EQ(small, by_c_call(CWishes(frame, {.stride = 11}), source, picture));
    EXPECT_NE(small.text.find("11"), std::string::npos);
    try {
        (void)RawFrame::of("RGB99", 4, 4).value();
        FAIL() << "no exception";
    } catch (const imgcnv::BadResultOf<Failure>& bad) {
        EXPECT_EQ(bad.error().status, IMGCNV_UNKNOWN_FORMAT);
        EXPECT_EQ(bad.what(), "imgcnv: " + bad.error().text);
    }
}

TEST(WrapperPipeline, MovesAndIsClosedWhereItWasMovedFrom) {
    static_assert(!std::is_copy_constructible_v<Pipeline>);
    static_assert(std::is_nothrow_move_constructible_v<Pipeline>);
    static_assert(std::is_nothrow_move_assignable_v<Pipeline>);
    const RawFrame frame = RawFrame::of("Mono8", 2, 1).value();
    auto first = Pipeline::open(frame, {.kind = IMGCNV_TARGET_MONO8}).value();
    Pipeline second = std::move(first);
    EXPECT_EQ(second.run(Bytes{1, 2}).value(), (Bytes{1, 2}));
    EXPECT_EQ(first.run(Bytes{1, 2}).error().status, IMGCNV_BAD_ARGUMENT);
    first = std::move(second);
    EXPECT_EQ(first.run(Bytes{3, 4}).value(), (Bytes{3, 4}));
}

TEST(WrapperFormats, AreFoundByAnyNameWithTheFlagsItImplies) {
    EXPECT_EQ(RawFrame::of("V4L2_PIX_FMT_SRGGB8", 4, 2, 6).value(),
              (RawFrame{.format = 0x01080009, .width = 4, .height = 2, .stride = 6}));
    EXPECT_EQ(RawFrame::of("GRAY16_BE", 4, 2).value().flags, IMGCNV_FRAME_BIG_ENDIAN + 0u);
    EXPECT_STREQ(imgcnv::find_format("0x010C002B").value().name, "BayerRG12Packed");
    // A view need not end with a zero.
    EXPECT_STREQ(imgcnv::find_format(std::string_view("Mono16").substr(0, 5)).error().text.c_str(),
                 imgcnv::find_format("Mono1").error().text.c_str());
}

// The names, groups and source sizes of Converter's formats are those of the engine.
TEST(WrapperFormats, OfConverterAreThoseOfTheEngine) {
    std::vector<std::string> core;
    for (const auto& format : imgcnv::formats()) {
        if (!format.in_core) continue;
        core.emplace_back(format.name);
        const auto known = imgcnv::pixel_format_from_string(format.name);
        ASSERT_TRUE(known) << format.name;
        EXPECT_EQ(static_cast<std::uint32_t>(*known), format.code) << format.name;
        const auto* row = imgcnv::detail::find(*known);
        EXPECT_EQ(row->group_pixels, format.group_pixels) << format.name;
        EXPECT_EQ(row->group_bytes, format.group_bytes) << format.name;
        for (const int width : {2, 7, 12}) {
            const RawFrame frame{.format = format.code, .width = width, .height = 3};
            const auto layout =
                imgcnv::layout({*known, width, 3}, imgcnv::Destination::RGB24).value();
            EXPECT_EQ(static_cast<std::int64_t>(layout.source_size),
                      imgcnv::measure(frame).value().needed_bytes)
                << format.name << " " << width;
        }
    }
    EXPECT_EQ(core.size(), imgcnv::source_formats.size());
}

TEST(WrapperLevels, AreThoseThatTheEngineFinds) {
    const RawFrame frame = RawFrame::of("BayerGB12Packed", 64, 64).value();
    const Bytes source =
        random_bytes(static_cast<std::size_t>(imgcnv::measure(frame).value().needed_bytes));
    const CWishes c(frame, {});
    imgcnv_levels expected = IMGCNV_LEVELS_INIT;
    ASSERT_EQ(imgcnv_auto_levels(&c.frame, source.data(), source.size(), &expected, nullptr, 0),
              IMGCNV_OK);
    const auto levels = imgcnv::auto_levels(frame, source).value();
    const imgcnv_levels found = levels.c_levels();
    EXPECT_EQ(std::memcmp(&found, &expected, sizeof found), 0);
    EXPECT_GT(levels.white, 0);
    EXPECT_EQ(imgcnv::auto_levels(frame, Bytes(5)).error().status, IMGCNV_BAD_SIZE);
}

TEST(WrapperGuess, RanksReadingsAndSaysWhyThereAreNone) {
    Bytes ramp(64 * 48);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = static_cast<std::uint8_t>(i % 64 * 3 + i / 64 * (i / 64) / 40);
    }
    const RawFrame known{.format = 0x01080001, .height = 48, .skip = -1, .gap = -1};
    const auto guess = imgcnv::guess(ramp, known);
    ASSERT_TRUE(guess) << guess.error().text;
    ASSERT_FALSE(guess->readings.empty());
    EXPECT_EQ(guess->readings[0].frame,
              (RawFrame{.format = 0x01080001, .width = 64, .height = 48}));
    EXPECT_EQ(guess->readings[0].frames, 1);
    EXPECT_EQ(guess->readings[0].score, 1);
    EXPECT_LE(imgcnv::guess(ramp, known, "", 1)->readings.size(), 1u);

    const auto none = imgcnv::guess(Bytes(9)).error();
    EXPECT_EQ(none.status, IMGCNV_BAD_DATA);
    EXPECT_NE(none.text, "");
}

}  // namespace
