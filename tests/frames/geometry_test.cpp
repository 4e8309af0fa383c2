// Sizes of frames, and how frames fit into files.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "imgcnv_frames.h"

namespace {

constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();

imgcnv_format_info format_at(int index) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    EXPECT_EQ(imgcnv_format_at(index, &info), IMGCNV_OK);
    return info;
}

imgcnv_frame frame_of(const char* format, int64_t width, int64_t height, int64_t stride = 0) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    EXPECT_EQ(imgcnv_find_format(format, &frame.format, &frame.flags, nullptr, 0), IMGCNV_OK)
        << format;
    frame.width = width;
    frame.height = height;
    frame.stride = stride;
    return frame;
}

// Bytes of a row by the name alone, as a camera's manual gives them.
int64_t row_by_name(const std::string& name, int64_t width) {
    const auto groups = [&](int64_t pixels, int64_t bytes) {
        return (width + pixels - 1) / pixels * bytes;
    };
    const auto has = [&](const char* part) { return name.find(part) != std::string::npos; };
    if (name == "Mono1C") return 0;
    if (has("YUV411")) return groups(4, 6);
    if (has("YUV422")) return groups(2, 4);
    if (has("YUV444")) return 3 * width;
    if (has("a8")) return 4 * width;
    if (has("RGB") || name.starts_with("BGR")) return has("8") ? 3 * width : 6 * width;
    if (has("12MIPI")) return groups(2, 3);
    if (has("10MIPI")) return groups(4, 5);
    if (has("14MIPI")) return groups(4, 7);
    if (has("Packed")) return (3 * width + 1) / 2;
    if (has("16")) return 2 * width;
    for (const int depth : {10, 12, 14, 1, 2, 4, 8}) {
        if (!has(std::to_string(depth).c_str())) continue;
        if (name.ends_with("p")) return (width * depth + 7) / 8;
        return depth == 8 ? width : 2 * width;
    }
    ADD_FAILURE() << name;
    return -1;
}

int64_t stream_bits(const std::string& name) {
    return name.ends_with("p") ? std::stoi(name.substr(name.find_first_of("0123456789"))) : 0;
}

TEST(Geometry, SizesOfEveryFormat) {
    for (int i = 0; i < imgcnv_format_count(); ++i) {
        const auto format = format_at(i);
        const std::string name = format.name;
        const bool is_list = name == "Mono1C";
        for (int64_t width = 1; width <= 33; ++width) {
            const int64_t row = row_by_name(name, width);
            ASSERT_EQ(imgcnv_row_bytes(format.code, width), row) << name << " " << width;
            for (const int64_t height : {1, 2, 3, 5})
                for (const int64_t padding : {-1, 0, 1, 7}) {
                    if (is_list && padding >= 0) continue;
                    auto frame = frame_of(format.name, width, height);
                    if (padding >= 0) frame.stride = row + padding;
                    imgcnv_frame_sizes sizes{};
                    sizes.struct_size = sizeof sizes;
                    char text[IMGCNV_TEXT_BYTES];
                    ASSERT_EQ(imgcnv_frame_measure(&frame, &sizes, text, sizeof text), IMGCNV_OK)
                        << text;
                    const int64_t bits = stream_bits(name);
                    const bool shares = padding < 0 && width * bits % 8 != 0 && height > 1;
                    const int64_t stride = shares ? 0 : row + std::max<int64_t>(padding, 0);
                    const int64_t bytes =
                        shares ? (width * height * bits + 7) / 8 : stride * height;
                    const int64_t last = shares || is_list ? 0 : stride - row;
                    EXPECT_EQ(sizes.row_bytes, row) << name;
                    EXPECT_EQ(sizes.stride, stride) << name << " " << width << "x" << height;
                    EXPECT_EQ(sizes.frame_bytes, bytes) << name << " " << width << "x" << height;
                    EXPECT_EQ(sizes.needed_bytes, bytes - last) << name;
                }
        }
    }
}

TEST(Geometry, RefusesWhatIsNoFrame) {
    struct Case {
        imgcnv_frame frame;
        const char* text;
    };
    const auto with = [](imgcnv_frame frame, uint32_t flags, int64_t skip, int64_t gap) {
        frame.flags = flags;
        frame.skip = skip;
        frame.gap = gap;
        return frame;
    };
    auto unknown = frame_of("Mono8", 8, 8);
    unknown.format = 0x01080099;
    auto other_name = frame_of("Mono8", 8, 8);
    other_name.format = 0x0210003E;
    const Case cases[] = {
        {frame_of("Mono8", 0, 8), "size 0x8: width and height must be at least 1"},
        {frame_of("Mono8", 8, -1), "size 8x-1: width and height must be at least 1"},
        {frame_of("Mono8", -kHuge - 1, -kHuge - 1), "at least 1"},
        {frame_of("Mono8", kHuge, kHuge), "at most 2147483647 pixels"},
        {frame_of("Mono8", 65536, 32768), "at most 2147483647 pixels"},
        {frame_of("Mono8", kMost + 1, 1), "at most 2147483647 pixels"},
        {frame_of("Mono16", kMost, 1), "takes 4294967294 bytes"},
        {frame_of("RGB8", 1, kMost), "takes 6442450941 bytes"},
        {frame_of("Mono8", 2, 2, kMost), "takes 4294967294 bytes"},
        {frame_of("Mono8", 2, 2, kMost + 1), "stride 2147483648: expected 0"},
        {frame_of("Mono8", 2, 2, kHuge), "expected 0 for rows without padding, or 2 to"},
        {frame_of("Mono8", 2, 2, -1), "stride -1: expected 0"},
        {frame_of("BayerRG12Packed", 1920, 1080, 1920),
         "stride 1920: a row of 1920 pixels of BayerRG12Packed takes 2880 bytes"},
        {frame_of("Mono1C", 8, 8, 8), "list of points"},
        {with(frame_of("Mono8", 8, 8), IMGCNV_FRAME_BIG_ENDIAN, 0, 0), "no 16-bit words"},
        {with(frame_of("RGB8", 8, 8), IMGCNV_FRAME_BIG_ENDIAN, 0, 0), "no 16-bit words"},
        {with(frame_of("Mono16", 8, 8), IMGCNV_FRAME_VIDEO_RANGE, 0, 0), "only YUV formats"},
        {with(frame_of("Mono16", 8, 8), 4, 0, 0), "flags 4: unknown"},
        {with(frame_of("Mono8", 8, 8), 0, -1, 0), "skip -1"},
        {with(frame_of("Mono8", 8, 8), 0, 0, -5), "gap -5"},
        {unknown, "no format has the code 0x01080099"},
        {other_name, "use 0x02100032 with video range"},
    };
    for (const auto& each : cases) {
        imgcnv_frame_sizes sizes{};
        sizes.struct_size = sizeof sizes;
        sizes.row_bytes = 77;
        char text[IMGCNV_TEXT_BYTES];
        const int status = imgcnv_frame_measure(&each.frame, &sizes, text, sizeof text);
        EXPECT_EQ(status, std::strstr(each.text, "0x0") != nullptr ? IMGCNV_UNKNOWN_FORMAT
                                                                   : IMGCNV_BAD_ARGUMENT)
            << text;
        EXPECT_NE(std::string(text).find(each.text), std::string::npos) << text;
        EXPECT_EQ(sizes.row_bytes, 77);
    }
    EXPECT_EQ(imgcnv_frame_measure(nullptr, nullptr, nullptr, 0), IMGCNV_BAD_ARGUMENT);

    // What libimgcnv need not address at once may be larger.
    const imgcnv_frame large[] = {frame_of("RGB16", kMost, 1), frame_of("Mono12p", 1, kMost, kMost),
                                  frame_of("Mono1p", kMost, 1), frame_of("Mono8", 1, kMost)};
    for (const auto& frame : large) {
        imgcnv_frame_sizes sizes{};
        sizes.struct_size = sizeof sizes;
        ASSERT_EQ(imgcnv_frame_measure(&frame, &sizes, nullptr, 0), IMGCNV_OK);
        EXPECT_GT(sizes.needed_bytes, 0);
        EXPECT_GE(sizes.frame_bytes, sizes.needed_bytes);
    }
}

TEST(Geometry, RowsOfExtremeWidths) {
    const struct {
        const char* format;
        int64_t width, bytes;
    } cases[] = {{"Mono8", 0, 0},
                 {"Mono1p", kMost, 268435456},
                 {"Mono14p", kMost, 3758096383},
                 {"BayerRG12Packed", kMost, 3221225471},
                 {"Mono10MIPI", kMost, 2684354560},
                 {"RGB16", kMost, 12884901882},
                 {"Mono8", kMost + 1, -1},
                 {"Mono8", kHuge, -1},
                 {"Mono8", -1, -1},
                 {"Mono8", -kHuge - 1, -1}};
    for (const auto& each : cases)
        EXPECT_EQ(imgcnv_row_bytes(frame_of(each.format, 1, 1).format, each.width), each.bytes)
            << each.format << " " << each.width;
    EXPECT_EQ(imgcnv_row_bytes(0, 8), -1);
}

TEST(Geometry, Descriptions) {
    const struct {
        imgcnv_frame frame;
        const char* text;
    } cases[] = {
        {frame_of("BayerRG12Packed", 1920, 1080, 2944),
         "BayerRG12Packed 1920x1080, rows of 2880 bytes every 2944"},
        {frame_of("Mono12p", 641, 480), "Mono12p 641x480"},
        {frame_of("Y16_BE", 64, 48, 128), "Mono16 64x48, big-endian"},
        {frame_of("YCbCr601_422_8", 64, 48), "YUV422_YUYV_Packed 64x48, video range"},
    };
    for (const auto& each : cases) {
        char text[IMGCNV_TEXT_BYTES];
        EXPECT_EQ(imgcnv_frame_describe(&each.frame, text, sizeof text), IMGCNV_OK);
        EXPECT_STREQ(text, each.text);
    }
}

TEST(Geometry, StructuresOfAnOlderVersion) {
    // A frame that ends behind its height: what follows is not read.
    imgcnv_frame frame = frame_of("Mono12p", 3, 2);
    std::memset(&frame.stride, 0xFF, sizeof frame - offsetof(imgcnv_frame, stride));
    frame.struct_size = offsetof(imgcnv_frame, stride);
    imgcnv_frame_sizes sizes;
    std::memset(&sizes, 0x55, sizeof sizes);
    sizes.struct_size = offsetof(imgcnv_frame_sizes, frame_bytes);
    ASSERT_EQ(imgcnv_frame_measure(&frame, &sizes, nullptr, 0), IMGCNV_OK);
    EXPECT_EQ(sizes.struct_size, offsetof(imgcnv_frame_sizes, frame_bytes));
    EXPECT_EQ(sizes.row_bytes, 5);
    EXPECT_EQ(sizes.stride, 0);
    EXPECT_EQ(sizes.frame_bytes, 0x5555555555555555);
    // One of a later version: what this version does not know is neither read nor written.
    struct {
        imgcnv_frame_sizes sizes;
        int64_t later;
    } longer{};
    longer.sizes.struct_size = sizeof longer;
    longer.later = 42;
    ASSERT_EQ(imgcnv_frame_measure(&frame, &longer.sizes, nullptr, 0), IMGCNV_OK);
    EXPECT_EQ(longer.sizes.frame_bytes, 9);
    EXPECT_EQ(longer.later, 42);
    frame.struct_size = 0;
    EXPECT_EQ(imgcnv_frame_measure(&frame, &sizes, nullptr, 0), IMGCNV_BAD_ARGUMENT);
}

TEST(Files, WhatExplainsALength) {
    const auto in_file = [](imgcnv_frame frame, int64_t skip, int64_t gap) {
        frame.skip = skip;
        frame.gap = gap;
        return frame;
    };
    const auto mono = frame_of("Mono8", 640, 480);
    const auto code = [](const char* name) { return int64_t{frame_of(name, 1, 1).format}; };
    const struct {
        imgcnv_frame frame;
        int64_t file_bytes;
        int64_t frames, left_over;
        int fit;
        int64_t value;
        const char* text;
    } cases[] = {
        {mono, 307200, 1, 0, IMGCNV_FIT_EXACT, 0, ""},
        {mono, 921600, 3, 0, IMGCNV_FIT_EXACT, 0, ""},
        {in_file(mono, 512, 0), 307712, 1, 0, IMGCNV_FIT_EXACT, 0, ""},
        {in_file(mono, 512, 100), 512 + 3 * 307300, 3, 0, IMGCNV_FIT_EXACT, 0, ""},
        {in_file(mono, 512, 100), 512 + 2 * 307300 + 307200, 3, 0, IMGCNV_FIT_EXACT, 0, ""},
        {in_file(mono, 0, kHuge), 307200, 1, 0, IMGCNV_FIT_EXACT, 0, ""},
        {frame_of("Mono8", 640, 480, 656), 656 * 479 + 640, 1, 0, IMGCNV_FIT_EXACT, 0, ""},
        {frame_of("Mono1C", 640, 480), 44, 1, 0, IMGCNV_FIT_EXACT, 0, ""},

        {mono, 656 * 480, 1, 16 * 480, IMGCNV_FIT_STRIDE, 656,
         "padded by 16 bytes fit: stride 656"},
        {mono, 656 * 479 + 640, 1, 16 * 479, IMGCNV_FIT_STRIDE, 656,
         "without padding after the last"},
        {frame_of("Mono8", 640, 480, 656), 307200, 0, 307200, IMGCNV_FIT_STRIDE, 640,
         "rows without padding fit"},
        {frame_of("BayerRG12Packed", 640, 480), 614400, 1, 153600, IMGCNV_FIT_FORMAT,
         code("BayerRG12"),
         "16 bits per pixel fit exactly: the format may be BayerRG12, BayerRG10"},
        {frame_of("BayerRG10", 640, 480), 384000, 0, 384000, IMGCNV_FIT_FORMAT, code("BayerRG10p"),
         "BayerRG10p or BayerRG10MIPI"},
        {frame_of("YUV422", 640, 480), 460800, 0, 460800, IMGCNV_FIT_FORMAT, code("YUV411Packed"),
         "YUV411Packed"},
        {mono, 640 * 400, 0, 640 * 400, IMGCNV_FIT_HEIGHT, 400,
         "exactly 400 rows of this width: another height, or cut short"},
        {frame_of("Mono8", 10, 100), 2500, 2, 500, IMGCNV_FIT_HEIGHT, 250, "exactly 250 rows"},
        {mono, 640 * 485, 1, 640 * 5, IMGCNV_FIT_HEIGHT, 485, "exactly 485 rows"},
        {mono, 307200 + 333, 1, 333, IMGCNV_FIT_HEADER, 333,
         "333 bytes too many: a header before the image (skip 333)"},
        {mono, 3 * (307200 + 97), 3, 3 * 97, IMGCNV_FIT_HEADER, 291,
         "97 bytes after each of 3 frames, such as chunk data: gap 97"},
        {in_file(mono, 512, 0), 307200, 0, 306688, IMGCNV_FIT_CUT_SHORT, 479,
         "cut short after 479 of 480 rows"},
        {mono, 2 * 307200 + 200001, 2, 200001, IMGCNV_FIT_CUT_SHORT, 312,
         "2 whole frames and 200001 bytes: the next is cut short"},
        {mono, 9, 0, 9, IMGCNV_FIT_CUT_SHORT, 0, "cut short after 0 of 480 rows"},
        {frame_of("Mono12p", 641, 480), 1000, 0, 1000, IMGCNV_FIT_CUT_SHORT, 1,
         "cut short after 1"},
        {mono, 0, 0, 0, IMGCNV_FIT_EMPTY, 0, "no bytes"},
        {in_file(mono, 512, 0), 512, 0, 0, IMGCNV_FIT_EMPTY, 0,
         "nothing is left: the file has 512 bytes, and 512 are skipped"},
        {in_file(mono, kHuge, kHuge), 307200, 0, 0, IMGCNV_FIT_EMPTY, 0, "nothing is left"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(::testing::Message() << each.file_bytes << " bytes: " << each.text);
        imgcnv_file_fit fit{};
        fit.struct_size = sizeof fit;
        char text[IMGCNV_TEXT_BYTES];
        ASSERT_EQ(imgcnv_file_measure(&each.frame, each.file_bytes, &fit, text, sizeof text),
                  IMGCNV_OK)
            << text;
        EXPECT_EQ(fit.frames, each.frames) << text;
        EXPECT_EQ(fit.left_over, each.left_over) << text;
        EXPECT_EQ(fit.fit, each.fit) << text;
        EXPECT_EQ(fit.value, each.value) << text;
        EXPECT_NE(std::string(text).find(each.text), std::string::npos) << text;
        EXPECT_EQ(*text == '\0', each.fit == IMGCNV_FIT_EXACT) << text;
    }
    imgcnv_file_fit fit{};
    fit.struct_size = sizeof fit;
    EXPECT_EQ(imgcnv_file_measure(&mono, -1, &fit, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_file_measure(&mono, 1, nullptr, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_file_measure(&mono, kHuge, &fit, nullptr, 0), IMGCNV_OK);
    EXPECT_EQ(fit.frames, kHuge / 307200);
}

}  // namespace
