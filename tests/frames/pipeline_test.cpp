// Whole pictures: every format, geometry, stride, orientation and number of threads against a model
// that reads samples bit by bit, completes mosaics by hand and lets libimgcnv demosaic the result.
#include "formats/format.h"
#include "imgcnv.h"
#include "imgcnv_frames.h"
#include "layout_model.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace frames::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;
using imgcnv::testing::Guard;
using imgcnv::testing::GuardedRegion;

constexpr std::uint8_t kUntouched = 0xA5;

/// What is converted and to what.
struct Case {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    imgcnv_target target = IMGCNV_TARGET_INIT;

    Case() = default;
    /// To RGB24 or what is named.
    Case(const char* format, std::int64_t width, std::int64_t height, imgcnv_demosaic demosaic,
         int kind = IMGCNV_TARGET_RGB24) {
        EXPECT_EQ(imgcnv_find_format(format, &frame.format, nullptr, nullptr, 0), IMGCNV_OK)
            << format;
        frame.width = width;
        frame.height = height;
        target.kind = kind;
        target.demosaic = demosaic;
    }

    const Format& format() const { return *format_of_code(frame.format); }
    std::string text() const {
        return std::string(format().name) + " " + std::to_string(frame.width) + "x" +
               std::to_string(frame.height) + " stride " + std::to_string(frame.stride) + " to " +
               imgcnv_target_name(target.kind) + " " + imgcnv_demosaic_name(target.demosaic) +
               " stride " + std::to_string(target.stride) + " rotation " +
               std::to_string(target.rotation) + " flags " + std::to_string(target.flags) +
               " threads " + std::to_string(target.threads);
    }
};

// ---- the model ----------------------------------------------------------------------------------

std::int64_t mirror(std::int64_t i, std::int64_t size) {
    if (size == 1) return 0;
    while (i < 0 || i >= size) i = i < 0 ? -i : 2 * (size - 1) - i;
    return i;
}

/// A picture of 8-bit R, G, B; grey has three equal ones.
struct Rgb {
    std::int64_t width, height;
    Bytes bytes;
    std::uint8_t* at(std::int64_t x, std::int64_t y) {
        return &bytes[static_cast<std::size_t>((y * width + x) * 3)];
    }
};

/// The upper 8 bits of sample `i` (of `per_row` in a row) of row y.
std::uint8_t sample8(const Case& test, const Bytes& data, std::int64_t y, std::int64_t i,
                     std::int64_t per_row) {
    const auto& format = test.format();
    const SampleLayout layout{
        static_cast<imgcnv_layout>(
            is_rgb(format) ? (format.depth > 8 ? IMGCNV_LAYOUT_WORDS : IMGCNV_LAYOUT_BYTES)
                           : format.layout),
        format.depth, (test.frame.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0};
    const bool is_stream = test.frame.stride == 0 && format.layout == IMGCNV_LAYOUT_LSB_FIRST;
    const auto row = test.frame.stride != 0 ? test.frame.stride
                                            : imgcnv_row_bytes(test.frame.format, test.frame.width);
    const auto* from = is_stream ? data.data() : data.data() + y * row;
    const auto value =
        model_sample(layout, from, static_cast<std::size_t>(is_stream ? y * per_row + i : i));
    if (format.depth >= 8) return static_cast<std::uint8_t>(value >> (format.depth - 8));
    return static_cast<std::uint8_t>(format.depth == 1 ? value * 255 : value << (8 - format.depth));
}

std::uint8_t clamp(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

Rgb model_yuv(const Case& test, const Bytes& data) {
    // For each layout: pixels and bytes of a group, where its Y lie, its U and its V.
    struct Group {
        int layout, pixels, bytes, y[4], u, v;
    };
    constexpr Group kGroups[] = {{IMGCNV_LAYOUT_UYYVYY, 4, 6, {1, 2, 4, 5}, 0, 3},
                                 {IMGCNV_LAYOUT_UYVY, 2, 4, {1, 3}, 0, 2},
                                 {IMGCNV_LAYOUT_YUYV, 2, 4, {0, 2}, 1, 3},
                                 {IMGCNV_LAYOUT_UYV, 1, 3, {1}, 0, 2}};
    const auto& group =
        *std::find_if(std::begin(kGroups), std::end(kGroups),
                      [&](const Group& each) { return each.layout == test.format().layout; });
    Rgb rgb{test.frame.width, test.frame.height,
            Bytes(static_cast<std::size_t>(test.frame.width * test.frame.height * 3))};
    const auto row = test.frame.stride != 0 ? test.frame.stride
                                            : imgcnv_row_bytes(test.frame.format, test.frame.width);
    for (std::int64_t y = 0; y < rgb.height; ++y)
        for (std::int64_t x = 0; x < rgb.width; ++x) {
            const auto* from = data.data() + y * row + x / group.pixels * group.bytes;
            const int luma = from[group.y[x % group.pixels]], u = from[group.u], v = from[group.v];
            auto* pixel = rgb.at(x, y);
            pixel[0] = clamp(luma + ((359 * v - 45952) >> 8));
            pixel[1] = clamp(luma - ((88 * u - 11264) >> 8) - ((183 * v - 23424) >> 8));
            pixel[2] = clamp(luma + ((454 * u - 58112) >> 8));
        }
    return rgb;
}

/// The mosaic completed to an even width and, in GR order, upwards; demosaiced by libimgcnv.
Rgb model_mosaic(const Case& test, const Bytes& data) {
    const auto width = test.frame.width, height = test.frame.height;
    const bool is_green_red = test.format().order == IMGCNV_ORDER_GR;
    const std::int64_t above = is_green_red ? 5 : 0, wide = width + width % 2,
                       high = height + above;
    Bytes mosaic(static_cast<std::size_t>(wide * high));
    for (std::int64_t y = 0; y < high; ++y)
        for (std::int64_t x = 0; x < wide; ++x)
            mosaic[static_cast<std::size_t>(y * wide + x)] =
                sample8(test, data, mirror(y - above, height), mirror(x, width), width);
    constexpr IMGCNV_EPixelFormat kOrders[] = {IMGCNV_PIXEL_BAYER_BG8, IMGCNV_PIXEL_BAYER_RG8,
                                               IMGCNV_PIXEL_BAYER_GB8, IMGCNV_PIXEL_BAYER_BG8,
                                               IMGCNV_PIXEL_BAYER_BG8};
    IMGCNV_SOpenParam record{static_cast<int>(wide),        static_cast<int>(high),      0, 0,
                             static_cast<int>(wide * high), kOrders[test.format().order]};
    Bytes picture(static_cast<std::size_t>(wide * (high + 1) * 3));
    int bytes = 1;
    EXPECT_EQ(IMGCNV_ConvertToRGB24_Ex(mosaic.data(), &record, picture.data(), &bytes,
                                       static_cast<IMGCNV_EBayerDemosaic>(test.target.demosaic)),
              IMGCNV_SUCCESS);
    Rgb rgb{width, height, Bytes(static_cast<std::size_t>(width * height * 3))};
    for (std::int64_t y = 0; y < height; ++y)
        std::memcpy(rgb.at(0, y), &picture[static_cast<std::size_t>((y + above) * wide * 3)],
                    static_cast<std::size_t>(width * 3));
    return rgb;
}

Rgb model_rgb(const Case& test, const Bytes& data) {
    const auto& format = test.format();
    if (is_yuv(format)) return model_yuv(test, data);
    const auto width = test.frame.width, height = test.frame.height;
    if (is_mosaic(format) && width > 1 && height > 1) return model_mosaic(test, data);
    Rgb rgb{width, height, Bytes(static_cast<std::size_t>(width * height * 3))};
    const int per_pixel = channels(format);
    const bool is_bgr = format.layout == IMGCNV_LAYOUT_BGR || format.layout == IMGCNV_LAYOUT_BGRA;
    for (std::int64_t y = 0; y < height; ++y)
        for (std::int64_t x = 0; x < width; ++x)
            for (int i = 0; i < 3; ++i)
                rgb.at(x, y)[i] = sample8(test, data, y,
                                          per_pixel == 1 ? x : x * per_pixel + (is_bgr ? 2 - i : i),
                                          width * per_pixel);
    return rgb;
}

bool becomes_grey(const Case& test) {
    const auto& format = test.format();
    return !is_yuv(format) && !is_rgb(format) &&
           !(is_mosaic(format) && test.frame.width > 1 && test.frame.height > 1);
}

void put_pixel(const Case& test, const std::uint8_t* rgb, std::uint8_t* out) {
    const bool blue_first =
        test.target.kind == IMGCNV_TARGET_BGR24 || test.target.kind == IMGCNV_TARGET_BGRA32;
    if (test.target.kind == IMGCNV_TARGET_MONO8) {
        *out = becomes_grey(test)
                   ? rgb[0]
                   : static_cast<std::uint8_t>((0.299 * rgb[0] + 0.587 * rgb[1]) + 0.114 * rgb[2]);
        return;
    }
    for (int i = 0; i < 3; ++i) out[i] = rgb[blue_first ? 2 - i : i];
    if (test.target.kind >= IMGCNV_TARGET_RGBA32) out[3] = 255;
}

/// The picture as it must lie in the target; bytes between rows are untouched.
Bytes model(const Case& test, const Bytes& data, const imgcnv_picture_info& info) {
    auto rgb = model_rgb(test, data);
    Bytes picture(static_cast<std::size_t>(info.picture_bytes), kUntouched);
    const auto flags = test.target.flags;
    for (std::int64_t y = 0; y < info.height; ++y)
        for (std::int64_t x = 0; x < info.width; ++x) {
            auto column = (flags & IMGCNV_TARGET_FLIP_HORIZONTAL) != 0 ? info.width - 1 - x : x;
            auto row = (flags & IMGCNV_TARGET_FLIP_VERTICAL) != 0 ? info.height - 1 - y : y;
            for (int turned = 0; turned < test.target.rotation; turned += 90) {
                const auto limit =
                    (test.target.rotation - turned) / 90 % 2 != 0 ? rgb.height : rgb.width;
                const auto old = column;
                column = row;
                row = limit - 1 - old;
            }
            put_pixel(test, rgb.at(column, row),
                      &picture[static_cast<std::size_t>(y * info.stride + x * info.channels)]);
        }
    return picture;
}

// ---- the engine ---------------------------------------------------------------------------------

/// Converts between unmapped pages and compares.
void check(const Case& test, std::mt19937& random) {
    SCOPED_TRACE(test.text());
    imgcnv_pipeline* pipeline = nullptr;
    char text[IMGCNV_TEXT_BYTES];
    ASSERT_EQ(imgcnv_pipeline_open(&test.frame, &test.target, &pipeline, text, sizeof text),
              IMGCNV_OK)
        << text;
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    imgcnv_pipeline_describe(pipeline, &info);
    static GuardedRegion sources(std::size_t{24} << 20), targets(std::size_t{24} << 20);
    Bytes data(static_cast<std::size_t>(info.source_bytes));
    for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
    const auto expected = model(test, data, info);
    // The second run finds what the first left in the scratch memory.
    for (const auto guard : {Guard::kBefore, Guard::kAfter}) {
        const auto source = sources.place(data, guard);
        const auto out = targets.place(expected.size(), guard, kUntouched);
        ASSERT_EQ(imgcnv_pipeline_run(pipeline, source.data(), source.size(), out.data(),
                                      out.size(), text, sizeof text),
                  IMGCNV_OK)
            << text;
        EXPECT_TRUE(targets.intact());
        const auto different =
            std::mismatch(out.begin(), out.end(), expected.begin()).first - out.begin();
        ASSERT_EQ(static_cast<std::size_t>(different), expected.size())
            << "row " << different / info.stride << ", byte " << different % info.stride << ", "
            << info.way;
    }
    imgcnv_pipeline_close(pipeline);
}

std::vector<const Format*> raster_formats() {
    std::vector<const Format*> list;
    for (const auto& format : formats())
        if (!is_points(format)) list.push_back(&format);
    return list;
}

Case any_case(const Format& format, std::int64_t width, std::int64_t height, std::mt19937& random) {
    Case test;
    test.frame.format = format.code;
    test.frame.width = width;
    test.frame.height = height;
    if (random() % 2 != 0)
        test.frame.stride = imgcnv_row_bytes(format.code, width) + static_cast<int>(random() % 9);
    if (format.layout == IMGCNV_LAYOUT_WORDS && random() % 3 == 0)
        test.frame.flags = IMGCNV_FRAME_BIG_ENDIAN;
    test.target.kind = 1 + static_cast<int>(random() % 5);
    test.target.demosaic = static_cast<int>(random() % 3);
    test.target.rotation = random() % 3 == 0 ? static_cast<int>(random() % 4) * 90 : 0;
    test.target.flags = random() % 3 == 0 ? random() % 4 * IMGCNV_TARGET_FLIP_HORIZONTAL : 0;
    if (random() % 3 == 0) {
        const int pixel = test.target.kind == IMGCNV_TARGET_MONO8    ? 1
                          : test.target.kind >= IMGCNV_TARGET_RGBA32 ? 4
                                                                     : 3;
        test.target.stride = (test.target.rotation % 180 == 0 ? width : height) * pixel +
                             static_cast<int>(random() % 7);
    }
    return test;
}

TEST(Pipelines, MakeWholePicturesOfEveryFormatAndGeometry) {
    constexpr std::int64_t kSizes[][2] = {{1, 1},   {1, 6},   {7, 1},   {2, 2},   {3, 2},
                                          {2, 3},   {3, 3},   {5, 8},   {16, 16}, {17, 20},
                                          {18, 21}, {33, 17}, {64, 48}, {65, 49}, {131, 40}};
    std::mt19937 random(20);
    for (const auto* format : raster_formats())
        for (const auto& [width, height] : kSizes)
            for (int i = 0; i < (is_mosaic(*format) ? 6 : 4); ++i) {
                check(any_case(*format, width, height, random), random);
                if (HasFatalFailure()) return;
            }
}

// Bands in the cache, and threads: frames large enough for both.
TEST(Pipelines, AreTheSameOnAnyNumberOfThreads) {
    std::mt19937 random(21);
    for (const char* name : {"BayerRG8", "BayerGR8", "BayerGB12p", "BayerBG10Packed", "Mono12p",
                             "Mono8", "UYVY", "BGR8"})
        for (const int threads : {1, 2, 3, 7}) {
            std::uint32_t code = 0;
            ASSERT_EQ(imgcnv_find_format(name, &code, nullptr, nullptr, 0), IMGCNV_OK) << name;
            auto test = any_case(*format_of_code(code), 1250 + threads, 901 + threads, random);
            test.target.threads = threads;
            check(test, random);
            test.target.stride = 0;
            test.target.rotation = 0;
            test.target.flags = 0;
            check(test, random);
            if (HasFatalFailure()) return;
        }
}

// Pictures that the caches do not hold are written past them, in bands and on threads, too.
TEST(Pipelines, AreTheSameBeyondTheCaches) {
    std::mt19937 random(25);
    constexpr std::pair<const char*, int> kFrames[] = {
        {"BayerRG8", 2401}, {"BayerGR12p", 2402}, {"Mono8", 2401}, {"UYVY", 2402}};
    for (const auto& [name, width] : kFrames)
        for (const auto kind : {IMGCNV_TARGET_RGB24, IMGCNV_TARGET_BGRA32}) {
            Case test(name, width, 1751, IMGCNV_BILINEAR, kind);
            for (const std::int64_t padding : {0, 3}) {
                test.target.threads = padding == 0 ? 3 : 1;
                test.target.stride = padding == 0 ? 0 : 2402 * 4 + padding;
                check(test, random);
                if (HasFatalFailure()) return;
            }
        }
}

// Lines of samples are as long as a strip, which begins within the rows of any layout.
TEST(Pipelines, TakeWideMosaicsInStrips) {
    std::mt19937 random(26);
    for (const char* name : {"BayerGB10p", "BayerBG14p", "BayerGR10MIPI", "BayerRG12Packed"})
        for (const auto method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE}) {
            const Case test(name, method == IMGCNV_NEAREST ? 8204 : 6732, 7, method);
            check(test, random);
            if (HasFatalFailure()) return;
        }
}

// With the rows around a band, no call of libimgcnv may have 2^31 bytes or more.
TEST(Pipelines, OpenForTheLargestFrames) {
    for (const char* name : {"BayerRG8", "BayerGR8", "BayerRG16"})
        for (const std::int64_t width : {32714, 32766, 32974}) {
            const Case test(name, width, 64000, IMGCNV_ADAPTIVE);
            imgcnv_pipeline* pipeline = nullptr;
            char why[IMGCNV_TEXT_BYTES] = "";
            EXPECT_EQ(imgcnv_pipeline_open(&test.frame, &test.target, &pipeline, why, sizeof why),
                      IMGCNV_OK)
                << test.text() << ": " << why;
            imgcnv_pipeline_close(pipeline);
        }
}

// A band of one row, which libimgcnv would make grey if it got it alone.
TEST(Pipelines, MakeLastRowsOfBands) {
    std::mt19937 random(24);
    for (const char* name : {"BayerRG8", "BayerGR12p"})
        for (const std::int64_t height : {97, 98, 113, 137, 145}) {
            Case test(name, 641, height, IMGCNV_NEAREST, IMGCNV_TARGET_BGRA32);
            for (const int method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE})
                for (const int flags : {0, static_cast<int>(IMGCNV_TARGET_FLIP_VERTICAL)}) {
                    test.target.demosaic = method;
                    test.target.flags = static_cast<std::uint32_t>(flags);
                    check(test, random);
                    if (HasFatalFailure()) return;
                }
        }
}

// Run by the thread sanitizer, too.
TEST(Pipelines, ManyWorkInManyThreads) {
    constexpr int kThreads = 6, kRuns = 3;
    struct Kind {
        const char* format;
        std::int64_t width, height;
        int method, rotation;
    };
    constexpr Kind kKinds[] = {{"BayerGR8", 1031, 520, IMGCNV_ADAPTIVE, 0},
                               {"BayerBG10p", 1250, 901, IMGCNV_BILINEAR, 0},
                               {"BayerRG8", 1250, 900, IMGCNV_BILINEAR, 90}};
    struct Job {
        Case test;
        Bytes source, picture;
    };
    std::vector<Job> jobs;
    for (const auto& kind : kKinds) {
        Job job;
        auto& [test, source, picture] = job;
        ASSERT_EQ(imgcnv_find_format(kind.format, &test.frame.format, nullptr, nullptr, 0),
                  IMGCNV_OK);
        test.frame.width = kind.width;
        test.frame.height = kind.height;
        test.target.demosaic = kind.method;
        test.target.rotation = kind.rotation;
        source.resize(static_cast<std::size_t>(kind.width * kind.height * 2));
        std::mt19937 random(25);
        for (auto& byte : source) byte = static_cast<std::uint8_t>(random());
        picture.resize(static_cast<std::size_t>(kind.width * kind.height * 3));
        ASSERT_EQ(imgcnv_convert_frame(&test.frame, &test.target, source.data(), source.size(),
                                       picture.data(), picture.size(), nullptr, 0),
                  IMGCNV_OK);
        test.target.threads = 2;
        jobs.push_back(job);
    }
    int good[kThreads] = {};
    const auto work = [&](int number) {
        const auto& job = jobs[static_cast<std::size_t>(number) % jobs.size()];
        imgcnv_pipeline* pipeline = nullptr;
        if (imgcnv_pipeline_open(&job.test.frame, &job.test.target, &pipeline, nullptr, 0) !=
            IMGCNV_OK)
            return;
        imgcnv_picture_info info{};
        info.struct_size = sizeof info;
        imgcnv_pipeline_describe(pipeline, &info);
        for (int run = 0; run < kRuns; ++run) {
            Bytes picture(job.picture.size());
            const int status = imgcnv_pipeline_run(pipeline, job.source.data(), job.source.size(),
                                                   picture.data(), picture.size(), nullptr, 0);
            good[number] += status == IMGCNV_OK && info.threads == 2 && picture == job.picture;
        }
        imgcnv_pipeline_close(pipeline);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
    for (auto& thread : threads) thread.join();
    for (const int count : good) EXPECT_EQ(count, kRuns);
}

struct Refusal {
    const char* what;
    imgcnv_status status;
    std::size_t missing_source, missing_target, target_at;
    bool null_source;
};

TEST(Pipelines, RefuseBuffersBeforeTheyWrite) {
    Case test;
    test.frame.format = IMGCNV_PIXEL_BAYER_RG8;
    test.frame.width = test.frame.height = 20;
    imgcnv_pipeline* pipeline = nullptr;
    ASSERT_EQ(imgcnv_pipeline_open(&test.frame, &test.target, &pipeline, nullptr, 0), IMGCNV_OK);
    Bytes memory(3000, kUntouched);
    const auto before = memory;
    for (const auto& refusal : {Refusal{"expected 400", IMGCNV_BAD_SIZE, 1, 0, 400, false},
                                Refusal{"expected 1200", IMGCNV_BAD_SIZE, 0, 1, 400, false},
                                Refusal{"share bytes", IMGCNV_OVERLAP, 0, 0, 399, false},
                                Refusal{"null", IMGCNV_BAD_ARGUMENT, 0, 0, 400, true}}) {
        char text[IMGCNV_TEXT_BYTES];
        EXPECT_EQ(
            imgcnv_pipeline_run(pipeline, refusal.null_source ? nullptr : memory.data(),
                                400 - refusal.missing_source, memory.data() + refusal.target_at,
                                1200 - refusal.missing_target, text, sizeof text),
            refusal.status);
        EXPECT_NE(std::string(text).find(refusal.what), std::string::npos) << text;
        EXPECT_EQ(memory, before) << refusal.what;
    }
    imgcnv_pipeline_close(pipeline);
}

TEST(Pipelines, CheckPointsBeforeTheyDraw) {
    Case test;
    test.frame.format = IMGCNV_PIXEL_MONO1C;
    test.frame.width = 3;
    test.frame.height = 2;
    test.target.kind = IMGCNV_TARGET_BGRA32;
    test.target.rotation = 90;
    Bytes picture(24, kUntouched);
    const Bytes beyond{200, 0, 0x10, 1, 7, 0, 0x30, 1},
        good{200, 0, 0x10, 1, 7, 0, 0x20, 3, 0, 0, 0, 0, 9};
    const auto convert = [&](const Bytes& list) {
        return imgcnv_convert_frame(&test.frame, &test.target, list.data(), list.size(),
                                    picture.data(), picture.size(), nullptr, 0);
    };
    EXPECT_EQ(convert(beyond), IMGCNV_BAD_DATA);
    EXPECT_EQ(convert({1, 0, 0x10}), IMGCNV_BAD_SIZE);
    EXPECT_EQ(picture, Bytes(24, kUntouched));
    ASSERT_EQ(convert(good), IMGCNV_OK);
    // Column 1 of row 1 goes to the right end of the first row, column 3 of row 2 to the last row's
    // left.
    const Bytes expected{0, 0, 0, 255, 200, 200, 200, 255, 0, 0, 0, 255,
                         0, 0, 0, 255, 7,   7,   7,   255, 0, 0, 0, 255};
    EXPECT_EQ(picture, expected);
}

TEST(Pipelines, KeepAlphaOrMakeItOpaque) {
    Case test;
    ASSERT_EQ(imgcnv_find_format("RGBa8", &test.frame.format, nullptr, nullptr, 0), IMGCNV_OK);
    test.frame.width = 2;
    test.frame.height = 1;
    test.target.kind = IMGCNV_TARGET_BGRA32;
    const Bytes frame{1, 2, 3, 4, 5, 6, 7, 8};
    for (const bool keeps : {false, true}) {
        test.target.flags = keeps ? IMGCNV_TARGET_KEEP_ALPHA : 0;
        Bytes picture(8);
        ASSERT_EQ(imgcnv_convert_frame(&test.frame, &test.target, frame.data(), 8, picture.data(),
                                       8, nullptr, 0),
                  IMGCNV_OK);
        const std::uint8_t opaque = 255;
        EXPECT_EQ(picture, (Bytes{3, 2, 1, keeps ? std::uint8_t{4} : opaque, 7, 6, 5,
                                  keeps ? std::uint8_t{8} : opaque}));
    }
}

// 16-bit targets: the samples themselves, scaled, and a mosaic whose upper bytes are the 8-bit
// picture.
TEST(Pipelines, GiveSixteenBits) {
    std::mt19937 random(22);
    for (const auto* format : raster_formats()) {
        if (channels(*format) != 1) continue;
        for (const std::int64_t width : {15, 40}) {
            auto test = any_case(*format, width, 23, random);
            test.target = IMGCNV_TARGET_INIT;
            test.target.kind = IMGCNV_TARGET_RAW16;
            imgcnv_frame_sizes sizes{};
            sizes.struct_size = sizeof sizes;
            ASSERT_EQ(imgcnv_frame_measure(&test.frame, &sizes, nullptr, 0), IMGCNV_OK);
            Bytes data(static_cast<std::size_t>(sizes.needed_bytes));
            for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
            // At an odd address, too.
            Bytes memory(static_cast<std::size_t>(width * 23 * 2) + 1);
            auto* out = memory.data() + width % 2;
            ASSERT_EQ(imgcnv_convert_frame(&test.frame, &test.target, data.data(), data.size(), out,
                                           memory.size() - 1, nullptr, 0),
                      IMGCNV_OK);
            for (std::int64_t i = 0; i < width * 23; ++i) {
                std::uint16_t word;
                std::memcpy(&word, out + 2 * i, 2);
                const int eight = format->depth >= 8   ? word >> (format->depth - 8)
                                  : format->depth == 1 ? word * 255
                                                       : word << (8 - format->depth);
                ASSERT_EQ(eight, sample8(test, data, i / width, i % width, width))
                    << test.text() << " sample " << i;
            }
        }
    }
}

// Black, white and gains at full depth before, gamma after demosaicing; off means the same bytes.
TEST(Pipelines, ApplyLevelsToSamples) {
    std::mt19937 random(23);
    for (const char* name : {"Mono12", "Mono12p", "Mono8", "Mono10Packed", "RGB8", "BGRa8",
                             "BayerGR12Packed", "BayerRG10p", "SRGGB12P"}) {
        Case test;
        ASSERT_EQ(imgcnv_find_format(name, &test.frame.format, nullptr, nullptr, 0), IMGCNV_OK);
        const auto& format = test.format();
        test.frame.width = 33;
        test.frame.height = 17;
        imgcnv_levels levels = IMGCNV_LEVELS_INIT;
        const double largest = (1 << format.depth) - 1;
        levels.black = largest / 8;
        levels.white = largest / 2;
        levels.red_gain = 1.5;
        levels.blue_gain = 0.5;
        imgcnv_frame_sizes sizes{};
        sizes.struct_size = sizeof sizes;
        ASSERT_EQ(imgcnv_frame_measure(&test.frame, &sizes, nullptr, 0), IMGCNV_OK);
        // A flat frame of 16-bit grey, packed: every method leaves it flat.
        const int sixteen = 17000;
        const std::vector<std::uint16_t> grey(static_cast<std::size_t>(33 * 17), sixteen);
        Bytes data(static_cast<std::size_t>(sizes.frame_bytes));
        ASSERT_EQ(
            imgcnv_pack_frame(&test.frame, grey.data(), 1, data.data(), data.size(), nullptr, 0),
            IMGCNV_OK);
        const double sample = sixteen >> (16 - format.depth);
        Bytes picture(static_cast<std::size_t>(33 * 17 * 3));
        for (const bool has_levels : {false, true}) {
            test.target.levels = has_levels ? &levels : nullptr;
            ASSERT_EQ(imgcnv_convert_frame(&test.frame, &test.target, data.data(), data.size(),
                                           picture.data(), picture.size(), nullptr, 0),
                      IMGCNV_OK);
            const bool is_grey = becomes_grey(test);
            const double gains[3] = {is_grey ? 1 : 1.5, 1, is_grey ? 1 : 0.5};
            for (std::size_t i = 0; i < picture.size(); ++i) {
                const double wanted = has_levels
                                          ? (sample - levels.black) /
                                                (levels.white - levels.black) * gains[i % 3] * 255
                                          : static_cast<double>(sixteen >> 8);
                ASSERT_NEAR(picture[i], std::clamp(wanted, 0.0, 255.0), has_levels ? 1.0 : 0.0)
                    << test.text() << " byte " << i;
            }
        }
    }
}

TEST(Pipelines, OneServesOneThreadAtATime) {
    Case test;
    test.frame.format = IMGCNV_PIXEL_BAYER_RG8;
    test.frame.width = test.frame.height = 2000;
    test.target.demosaic = IMGCNV_ADAPTIVE;
    imgcnv_pipeline* pipeline = nullptr;
    ASSERT_EQ(imgcnv_pipeline_open(&test.frame, &test.target, &pipeline, nullptr, 0), IMGCNV_OK);
    Bytes source(4000000, 1), pictures[2] = {Bytes(12000000), Bytes(12000000)};
    int statuses[2] = {IMGCNV_OK, IMGCNV_OK}, busy = 0;
    for (int round = 0; round < 50 && busy == 0; ++round) {
        std::thread other([&] {
            statuses[1] = imgcnv_pipeline_run(pipeline, source.data(), source.size(),
                                              pictures[1].data(), pictures[1].size(), nullptr, 0);
        });
        statuses[0] = imgcnv_pipeline_run(pipeline, source.data(), source.size(),
                                          pictures[0].data(), pictures[0].size(), nullptr, 0);
        other.join();
        busy = static_cast<int>(std::count(statuses, statuses + 2, IMGCNV_BUSY));
        EXPECT_EQ(busy + static_cast<int>(std::count(statuses, statuses + 2, IMGCNV_OK)), 2);
    }
    EXPECT_EQ(busy, 1);
    imgcnv_pipeline_close(pipeline);
}

}  // namespace
}  // namespace frames::testing
