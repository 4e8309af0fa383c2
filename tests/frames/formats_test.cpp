// The table of formats, and what names mean.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "imgcnv.h"
#include "imgcnv_frames.h"

namespace {

std::vector<imgcnv_format_info> all_formats() {
    std::vector<imgcnv_format_info> formats(static_cast<std::size_t>(imgcnv_format_count()));
    for (std::size_t i = 0; i < formats.size(); ++i) {
        formats[i].struct_size = sizeof formats[i];
        EXPECT_EQ(imgcnv_format_at(static_cast<int>(i), &formats[i]), IMGCNV_OK);
    }
    return formats;
}

std::string name_of(uint32_t code) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    return imgcnv_format_of_code(code, &info) == IMGCNV_OK ? info.name : "none";
}

struct Answer {
    int status;
    std::string format;
    uint32_t flags;
    std::string text;
};

Answer find(const std::string& name) {
    constexpr uint32_t kUntouched = 0xDEADBEEF;
    uint32_t code = kUntouched;
    uint32_t flags = 0;
    char text[IMGCNV_TEXT_BYTES] = "not written";
    const int status = imgcnv_find_format(name.c_str(), &code, &flags, text, sizeof text);
    if (status == IMGCNV_OK) {
        EXPECT_STREQ(text, "") << name;
        return {status, name_of(code), flags, text};
    }
    EXPECT_EQ(status, IMGCNV_UNKNOWN_FORMAT) << name;
    EXPECT_EQ(code, kUntouched) << name;
    EXPECT_EQ(flags, 0u) << name;
    EXPECT_STRNE(text, "") << name;
    return {status, "", flags, text};
}

std::vector<std::string> words(const char* list) {
    std::istringstream stream(list);
    std::vector<std::string> result;
    for (std::string word; stream >> word;) result.push_back(word);
    return result;
}

std::string with_case(std::string text, int (*change)(int)) {
    for (char& c : text) c = static_cast<char>(change(static_cast<unsigned char>(c)));
    return text;
}

TEST(Formats, EveryNameAndCodeFindsItsRow) {
    for (const auto& format : all_formats()) {
        struct {
            const char* names;
            const char* prefix;
        } const families[] = {{format.name, "PixelFormat_"},
                              {format.name, "IMGCNV_PIXEL_"},
                              {format.pfnc, "PixelFormat_"},
                              {format.gstreamer, "GST_VIDEO_FORMAT_"},
                              {format.v4l2, "V4L2_PIX_FMT_"},
                              {format.ffmpeg, "AV_PIX_FMT_"},
                              {format.ros, ""}};
        for (const auto& family : families)
            for (const auto& word : words(family.names)) {
                EXPECT_EQ(find(word).format, format.name) << word;
                EXPECT_EQ(find(family.prefix + word).format, format.name) << family.prefix << word;
                EXPECT_EQ(find(" " + word + " ").format, format.name) << word;
                // pGAA and pgAA differ in nothing but the case.
                if (with_case(word, std::tolower) == "pgaa" ||
                    with_case(word, std::tolower) == "pgcc" ||
                    with_case(word, std::tolower) == "pgee") {
                    EXPECT_NE(find(with_case(word, std::tolower)).text.find("case"),
                              std::string::npos);
                    continue;
                }
                EXPECT_EQ(find(with_case(word, std::toupper)).format, format.name) << word;
                EXPECT_EQ(find(with_case(word, std::tolower)).format, format.name) << word;
            }
        char code[16];
        for (const char* const pattern : {"0x%08X", "0X%08x", "%08X", "%08x", "%u"}) {
            std::snprintf(code, sizeof code, pattern, format.code);
            EXPECT_EQ(find(code).format, format.name) << code;
        }
    }
}

TEST(Formats, TheTableIsConsistent) {
    std::set<uint32_t> codes;
    std::set<std::string> names;
    int of_order[5] = {};
    for (const auto& format : all_formats()) {
        EXPECT_TRUE(codes.insert(format.code).second) << format.name;
        EXPECT_TRUE(names.insert(format.name).second) << format.name;
        EXPECT_EQ(format.group_pixels * format.bits_per_pixel, format.group_bytes * 8)
            << format.name;
        EXPECT_LE(format.depth, 16) << format.name;
        EXPECT_EQ(name_of(format.code), format.name);
        ++of_order[format.order];
        // Every mosaic has its three turned ones and its grey one.
        if (format.order == IMGCNV_ORDER_NONE) continue;
        const std::string rest = std::string(format.name).substr(7);
        for (const char* const start : {"BayerRG", "BayerGB", "BayerBG", "BayerGR", "Mono"})
            EXPECT_EQ(find(start + rest).format, start + rest);
    }
    for (int order = 2; order <= 4; ++order) EXPECT_EQ(of_order[order], of_order[1]);

    imgcnv_format_info untouched{};
    untouched.struct_size = sizeof untouched;
    EXPECT_EQ(imgcnv_format_at(-1, &untouched), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_format_at(imgcnv_format_count(), &untouched), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_format_of_code(0x01080099, &untouched), IMGCNV_UNKNOWN_FORMAT);
    EXPECT_EQ(untouched.name, nullptr);
    EXPECT_EQ(imgcnv_format_at(0, nullptr), IMGCNV_BAD_ARGUMENT);
}

TEST(Formats, InCoreIsWhatTheCoreReads) {
    for (const auto& format : all_formats()) {
        IMGCNV_SOpenParam record{};
        record.width = 8;
        record.height = 2;
        record.dataSize = 8 * 2 * format.bits_per_pixel / 8;
        record.pixelFormat = static_cast<IMGCNV_EPixelFormat>(static_cast<int>(format.code));
        IMGCNV_HANDLE handle = nullptr;
        int bytes = 0;
        const auto status =
            IMGCNV_open(&record, IMGCNV_PIXEL_MONO8, &handle, &bytes, IMGCNV_DEMOSAIC_BILINEAR);
        EXPECT_EQ(status == IMGCNV_SUCCESS, format.in_core == 1) << format.name;
        if (status == IMGCNV_SUCCESS) IMGCNV_close(handle);
    }
}

TEST(Formats, SpellingsOfOtherSoftware) {
    constexpr uint32_t kBig = IMGCNV_FRAME_BIG_ENDIAN;
    constexpr uint32_t kVideo = IMGCNV_FRAME_VIDEO_RANGE;
    const struct {
        const char* spelling;
        const char* format;
        uint32_t flags;
    } cases[] = {
        // short and general names
        {"RG8", "BayerRG8", 0},
        {"RGGB8", "BayerRG8", 0},
        {"rggb10", "BayerRG10", 0},
        {"bggr12", "BayerBG12", 0},
        {"RGB888", "RGB8Packed", 0},
        {"bgr 24", "BGR8Packed", 0},
        {"YUV444", "YUV444Packed", 0},
        {"GRAYSCALE", "Mono8", 0},
        {"8-bit grey", "Mono8", 0},
        {"Y800", "Mono8", 0},
        {"Bayer RG 12 packed", "BayerRG12Packed", 0},
        {"RGBA8888", "RGBa8", 0},
        {"RGB48", "RGB16", 0},
        // packings that differ by a letter
        {"BayerRG12p", "BayerRG12p", 0},
        {"SRGGB12P", "BayerRG12MIPI", 0},
        {"SRGGB12_CSI2P", "BayerRG12MIPI", 0},
        {"RAW10 RGGB", "BayerRG10MIPI", 0},
        {"pRAA", "BayerRG10MIPI", 0},
        {"pgAA", "BayerGR10MIPI", 0},
        {"pGAA", "BayerGB10MIPI", 0},
        {"Y10P", "Mono10MIPI", 0},
        {"R12_CSI2P", "Mono12MIPI", 0},
        {"BA10", "BayerGR10", 0},
        {"BA81", "BayerBG8", 0},
        {"BYR2", "BayerBG16", 0},
        // the high byte first
        {"Y16_BE", "Mono16", kBig},
        {"GST_VIDEO_FORMAT_GRAY16_BE", "Mono16", kBig},
        {"gray12be", "Mono12", kBig},
        {"rggb10be", "BayerRG10", kBig},
        {"SRGGB16BE", "BayerRG16", kBig},
        {"AV_PIX_FMT_BAYER_GBRG16BE", "BayerGB16", kBig},
        {"rgb48be", "RGB16", kBig},
        // the same bytes by another name
        {"YCbCr422_8", "YUV422_YUYV_Packed", 0},
        {"YCbCr422_8_CbYCrY", "YUV422Packed", 0},
        {"YCbCr601_422_8_CbYCrY", "YUV422Packed", kVideo},
        {"0x0218003D", "YUV444Packed", kVideo},
        {"YUV422_8_UYVY", "YUV422Packed", 0},
        {"YUV422_8", "YUV422_YUYV_Packed", 0},
        {"0x810C0002", "BayerRG12Packed", 0},
        // prefixes, and names that mean something else with one
        {"ARV_PIXEL_FORMAT_YUV_422_YUYV_PACKED", "YUV422_YUYV_Packed", 0},
        {"ARV_PIXEL_FORMAT_BAYER_GR_12P", "BayerGR12p", 0},
        {"PixelFormat.BayerBG10Packed", "BayerBG10Packed", 0},
        {"DRM_FORMAT_RGB888", "BGR8Packed", 0},
        {"V4L2_PIX_FMT_ABGR32", "BGRa8", 0},
        {"BGRA32", "BGRa8", 0},
        {"CV_8UC3", "BGR8Packed", 0},
        {"CV_16UC1", "Mono16", 0},
    };
    for (const auto& each : cases) {
        const auto answer = find(each.spelling);
        EXPECT_EQ(answer.format, each.format) << each.spelling << ": " << answer.text;
        EXPECT_EQ(answer.flags, each.flags) << each.spelling;
    }
}

TEST(Formats, UnknownNamesGetTheNearestByMeaning) {
    const struct {
        const char* name;
        const char* with;
        const char* without;
    } cases[] = {
        {"RG9", "nearest: BayerRG8, BayerRG10", "RGB"},
        {"BayerRG11", "nearest: BayerRG10, BayerRG12", "Packed"},
        {"SRGGB11P", "nearest: BayerRG10MIPI, BayerRG12MIPI", "BayerRG10p"},
        {"bggr9", "BayerBG8", "BayerGB"},
        {"YUV423", "YUV422Packed", "Bayer"},
        {"Momo8", "nearest: Mono8", "Bayer"},
        {"Mono2", "nearest: Mono2p", "Mono8"},
        {"Mono12Paked", "nearest: Mono12Packed", "Mono12,"},
        {"BayerGB10Pakced", "nearest: BayerGB10Packed", "MIPI"},
        {"RGB9", "RGB8Packed", "Bayer"},
        {"BayerRGB8", "BayerRG8", "RGB8Packed"},
        {"Mono8BE", "Mono8", "Bayer"},
        {"xyz", "Mono8, BayerRG12Packed", "nearest"},
        {"12", "names are such as", "nearest"},
        {"99999999999", "unknown format '99999999999'", "nearest"},
        {"0xFFFFFFFF", "no format has the code 0xFFFFFFFF", "nearest"},
        {"", "empty", "nearest"},
        {"\x1b[31mRG\x07", "'?[31mRG?'", "\x1b"},
        // what it is, and what to use
        {"RAW10", "SRGGB10P", "unknown"},
        {"Bayer8", "BayerRG8", "unknown"},
        {"V4L2_PIX_FMT_YUV444", "another depth", "YUV444Packed"},
        {"V4L2_PIX_FMT_BGRA32", "first is alpha", "unknown"},
        {"GST_VIDEO_FORMAT_RGB16", "5 or 6 bits", "unknown"},
        {"0x02180021", "planes", "unknown"},
        {"0x02100041", "BT.709", "unknown"},
        {"NV12", "planar", "unknown"},
        {"Mono1", "Mono1p", "nearest"},
        {"pgaa", "BayerGB10MIPI or BayerGR10MIPI", "unknown"},
        // OpenCV's names and numbers, which name another place of the mosaic
        {"COLOR_BayerRG2BGR", "BayerBG8", "BayerRG8"},
        {"cv2.COLOR_BayerRG2BGR", "BayerBG8", "BayerRG8"},
        {"cv::COLOR_BayerRGGB2BGR", "BayerRG8", "BayerBG8"},
        {"BayerGB2RGB_EA", "BayerGR8", "BayerGB8"},
        {"46", "BayerRG8", "BayerBG8"},
        {"47", "BayerGR8", "BayerGB8"},
        {"48", "BayerBG8", "BayerRG8"},
        {"49", "BayerGB8", "BayerGR8"},
        {"COLOR_YUV2BGR_UYVY", "YUV422Packed with video range", "YUYV"},
        {"116", "YUV422_YUYV_Packed with video range", "UYVY"},
        {"COLOR_RGB2BGR", "conversion of OpenCV", "nearest"},
    };
    for (const auto& each : cases) {
        const auto answer = find(each.name);
        EXPECT_NE(answer.status, IMGCNV_OK) << each.name << " is " << answer.format;
        EXPECT_NE(answer.text.find(each.with), std::string::npos) << answer.text;
        EXPECT_EQ(answer.text.find(each.without), std::string::npos) << answer.text;
        EXPECT_NE(answer.text.back(), '\n');
    }
    EXPECT_NE(find(std::string(5000, 'x')).text.find("..."), std::string::npos);
}

TEST(Formats, ForeignNamesAreAnsweredWithTheirAdvice) {
    std::set<std::string> seen;
    for (int i = 0; i < imgcnv_foreign_format_count(); ++i) {
        imgcnv_foreign_format row{};
        row.struct_size = sizeof row;
        ASSERT_EQ(imgcnv_foreign_format_at(i, &row), IMGCNV_OK);
        for (const auto& name : words(row.names)) {
            EXPECT_TRUE(seen.insert(name).second) << name << " is there twice";
            const auto answer = find(name);
            EXPECT_EQ(answer.format, "") << name;
            EXPECT_NE(answer.text.find(row.meaning), std::string::npos) << name;
            EXPECT_NE(answer.text.find(row.advice), std::string::npos) << name;
        }
    }
    imgcnv_foreign_format row{};
    row.struct_size = sizeof row;
    EXPECT_EQ(imgcnv_foreign_format_at(-1, &row), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_foreign_format_at(imgcnv_foreign_format_count(), &row), IMGCNV_BAD_ARGUMENT);
}

TEST(Formats, FlagsAreAddedAndTextsAreCut) {
    uint32_t code = 0;
    uint32_t flags = IMGCNV_FRAME_VIDEO_RANGE;
    EXPECT_EQ(imgcnv_find_format("Y16_BE", &code, &flags, nullptr, 0), IMGCNV_OK);
    EXPECT_EQ(flags, uint32_t{IMGCNV_FRAME_VIDEO_RANGE | IMGCNV_FRAME_BIG_ENDIAN});
    EXPECT_EQ(imgcnv_find_format("Mono8", &code, nullptr, nullptr, 0), IMGCNV_OK);
    EXPECT_EQ(imgcnv_find_format("RAW10", &code, nullptr, nullptr, 0), IMGCNV_UNKNOWN_FORMAT);
    EXPECT_EQ(imgcnv_find_format(nullptr, &code, nullptr, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_find_format("Mono8", nullptr, nullptr, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    const std::string whole = find("RAW10").text;
    for (std::size_t room = 1; room < 20; ++room) {
        char text[32];
        std::memset(text, '#', sizeof text);
        imgcnv_find_format("RAW10", &code, nullptr, text, room);
        EXPECT_EQ(text, whole.substr(0, room - 1));
        EXPECT_EQ(text[room], '#');
    }
}

TEST(Formats, ACallersOlderStructureIsFilledAsFarAsItGoes) {
    imgcnv_format_info info;
    std::memset(&info, 0x55, sizeof info);
    info.struct_size = offsetof(imgcnv_format_info, depth);
    ASSERT_EQ(imgcnv_format_of_code(0x01080001, &info), IMGCNV_OK);
    EXPECT_EQ(info.struct_size, offsetof(imgcnv_format_info, depth));
    EXPECT_EQ(info.code, 0x01080001u);
    EXPECT_EQ(info.bits_per_pixel, 8);
    EXPECT_EQ(info.depth, 0x55555555);
    info.struct_size = 0;
    EXPECT_EQ(imgcnv_format_of_code(0x01080001, &info), IMGCNV_BAD_ARGUMENT);
}

TEST(Targets, NamesAndAliases) {
    char text[IMGCNV_TEXT_BYTES];
    for (int kind = 1; kind <= 8; ++kind) {
        int found = 0;
        EXPECT_EQ(imgcnv_find_target(imgcnv_target_name(kind), &found, text, sizeof text),
                  IMGCNV_OK);
        EXPECT_EQ(found, kind);
    }
    for (int method = 0; method <= 2; ++method) {
        int found = -1;
        EXPECT_EQ(imgcnv_find_demosaic(imgcnv_demosaic_name(method), &found, text, sizeof text),
                  IMGCNV_OK);
        EXPECT_EQ(found, method);
    }
    const struct {
        const char* name;
        int kind;
    } aliases[] = {{"RGB8", IMGCNV_TARGET_RGB24},
                   {"Grey", IMGCNV_TARGET_MONO8},
                   {"gray8", IMGCNV_TARGET_MONO8},
                   {"bgr", IMGCNV_TARGET_BGR24},
                   {"bgra", IMGCNV_TARGET_BGRA32},
                   {"RAW_16", IMGCNV_TARGET_RAW16},
                   {"RGBA8", IMGCNV_TARGET_RGBA32},
                   {"rgb16", IMGCNV_TARGET_RGB48},
                   {"IMGCNV_PIXEL_BGR8_PACKED", IMGCNV_TARGET_BGR24}};
    for (const auto& alias : aliases) {
        int found = 0;
        EXPECT_EQ(imgcnv_find_target(alias.name, &found, text, sizeof text), IMGCNV_OK) << text;
        EXPECT_EQ(found, alias.kind) << alias.name;
    }
    int value = 77;
    EXPECT_EQ(imgcnv_find_target("yuv", &value, text, sizeof text), IMGCNV_BAD_ARGUMENT);
    EXPECT_STREQ(text,
                 "unknown target 'yuv': expected mono8, rgb24, bgr24, rgba32, bgra32, raw16, "
                 "rgb48 or bgr48");
    EXPECT_EQ(imgcnv_find_demosaic("", &value, text, sizeof text), IMGCNV_BAD_ARGUMENT);
    EXPECT_STREQ(text, "unknown demosaic method '': expected nearest, bilinear or adaptive");
    EXPECT_EQ(value, 77);
    EXPECT_STREQ(imgcnv_target_name(0), "");
    EXPECT_STREQ(imgcnv_demosaic_name(3), "");
}

}  // namespace
