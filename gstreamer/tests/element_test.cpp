// The element against the frame engine: caps, strides and properties must not change a byte of what
// imgcnv_convert_frame makes of the same frame.
#include "imgcnv_frames.h"

#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Teardown {
    void operator()(GstHarness* harness) const { gst_harness_teardown(harness); }
};
using Harness = std::unique_ptr<GstHarness, Teardown>;
struct UnrefBuffer {
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using Buffer = std::unique_ptr<GstBuffer, UnrefBuffer>;

struct Output {
    const char* name;
    int kind;
    unsigned flags;
};
constexpr Output kOutputs[] = {
    {"RGB", IMGCNV_TARGET_RGB24, 0},
    {"BGR", IMGCNV_TARGET_BGR24, 0},
    {"RGBx", IMGCNV_TARGET_RGBA32, 0},
    {"BGRx", IMGCNV_TARGET_BGRA32, 0},
    {"RGBA", IMGCNV_TARGET_RGBA32, IMGCNV_TARGET_KEEP_ALPHA},
    {"BGRA", IMGCNV_TARGET_BGRA32, IMGCNV_TARGET_KEEP_ALPHA},
    {"GRAY8", IMGCNV_TARGET_MONO8, 0},
    {"GRAY16_LE", IMGCNV_TARGET_RAW16, IMGCNV_TARGET_FULL_SCALE},
};

imgcnv_format_info info_at(int index) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    imgcnv_format_at(index, &info);
    return info;
}

imgcnv_frame frame_of(const std::string& format, int width, int height) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    EXPECT_EQ(imgcnv_find_format(format.c_str(), &frame.format, &frame.flags, nullptr, 0),
              IMGCNV_OK)
        << format;
    frame.width = width;
    frame.height = height;
    return frame;
}

imgcnv_frame_sizes sizes_of(const imgcnv_frame& frame) {
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    EXPECT_EQ(imgcnv_frame_measure(&frame, &sizes, nullptr, 0), IMGCNV_OK);
    return sizes;
}

Bytes noise(std::size_t bytes, unsigned seed = 1) {
    std::mt19937 random(seed);
    Bytes out(bytes);
    for (auto& byte : out) byte = static_cast<std::uint8_t>(random());
    return out;
}

Bytes noise_for(const imgcnv_frame& frame) {
    return noise(static_cast<std::size_t>(sizes_of(frame).frame_bytes));
}

/// What the engine makes of a frame, rows without gaps.
Bytes expected(const imgcnv_frame& frame, const Bytes& source, const Output& output,
               int demosaic = IMGCNV_BILINEAR, const imgcnv_levels* levels = nullptr) {
    imgcnv_target target = IMGCNV_TARGET_INIT;
    target.kind = output.kind;
    target.flags = output.flags;
    target.demosaic = demosaic;
    target.levels = levels;
    Bytes picture(static_cast<std::size_t>(frame.width * frame.height * 8));
    imgcnv_pipeline* pipeline = nullptr;
    char text[IMGCNV_TEXT_BYTES] = "";
    EXPECT_EQ(imgcnv_pipeline_open(&frame, &target, &pipeline, text, sizeof text), IMGCNV_OK)
        << text;
    if (!pipeline) return {};
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    imgcnv_pipeline_describe(pipeline, &info);
    EXPECT_EQ(imgcnv_pipeline_run(pipeline, source.data(), source.size(), picture.data(),
                                  picture.size(), text, sizeof text),
              IMGCNV_OK)
        << text;
    imgcnv_pipeline_close(pipeline);
    picture.resize(static_cast<std::size_t>(info.picture_bytes));
    return picture;
}

std::string caps_of(const std::string& media, const std::string& format, int width, int height,
                    const std::string& more = "") {
    return media + ",format=" + format + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=30/1" + more;
}

Harness element(const std::string& launch, const std::string& caps, const std::string& output) {
    Harness harness(gst_harness_new_parse(launch.c_str()));
    gst_harness_set_src_caps_str(harness.get(), caps.c_str());
    gst_harness_set_sink_caps_str(harness.get(), ("video/x-raw,format=" + output).c_str());
    return harness;
}

/// The picture made; null when none was.
Buffer push(const Harness& harness, GstBuffer* buffer) {
    gst_harness_push(harness.get(), buffer);
    return Buffer(gst_harness_try_pull(harness.get()));
}

Buffer push(const Harness& harness, const Bytes& source) {
    return push(harness, gst_buffer_new_memdup(source.data(), source.size()));
}

/// The rows of a picture without what lies between them.
Bytes rows_of(const Harness& harness, const Buffer& buffer) {
    if (!buffer) return {};
    GstCaps* caps = gst_pad_get_current_caps(harness->sinkpad);
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps);
    gst_caps_unref(caps);
    GstVideoFrame frame;
    if (!gst_video_frame_map(&frame, &info, buffer.get(), GST_MAP_READ)) return {};
    Bytes out;
    const auto row_bytes = GST_VIDEO_INFO_WIDTH(&info) * GST_VIDEO_INFO_COMP_PSTRIDE(&info, 0);
    const bool has_x = std::strchr(GST_VIDEO_INFO_NAME(&info), 'x') != nullptr;
    for (int y = 0; y < GST_VIDEO_INFO_HEIGHT(&info); ++y) {
        const auto* row = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
                          y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
        out.insert(out.end(), row, row + row_bytes);
    }
    for (std::size_t i = 3; has_x && i < out.size(); i += 4) out[i] = 255;  // it may be anything
    gst_video_frame_unmap(&frame);
    return out;
}

/// The text of the error that a frame makes the element post; empty without one.
std::string error_of(const std::string& launch, const std::string& caps, std::size_t bytes,
                     const std::string& output = "RGB") {
    auto harness = element(launch, caps, output);
    GstBus* bus = gst_bus_new();
    gst_element_set_bus(harness->element, bus);
    gst_harness_push(harness.get(), gst_buffer_new_allocate(nullptr, bytes, nullptr));
    std::string text;
    while (GstMessage* message = gst_bus_pop(bus)) {
        GError* error = nullptr;
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR && text.empty()) {
            gst_message_parse_error(message, &error, nullptr);
            text = error->message;
            g_error_free(error);
        }
        gst_message_unref(message);
    }
    gst_element_set_bus(harness->element, nullptr);
    gst_object_unref(bus);
    return text;
}

constexpr int kWidth = 37;
constexpr int kHeight = 23;

/// Caps of GStreamer for a format, and its PFNC name.
std::vector<std::pair<std::string, std::string>> caps_and_names(const imgcnv_format_info& info) {
    std::vector<std::pair<std::string, std::string>> all{{"video/x-pfnc", info.name}};
    std::istringstream words(info.gstreamer);
    for (std::string word; words >> word;) {
        const bool is_mosaic = info.order != IMGCNV_ORDER_NONE;
        if (!is_mosaic && gst_video_format_from_string(word.c_str()) == GST_VIDEO_FORMAT_UNKNOWN)
            continue;  // a format of a later GStreamer
        all.emplace_back(is_mosaic ? "video/x-bayer" : "video/x-raw", word);
        const auto end = word.size() - 2;
        if (word.compare(end, 2, "le") == 0)
            all.emplace_back("video/x-bayer", word.replace(end, 2, "be"));
        if (word.compare(end, 2, "LE") == 0)
            all.emplace_back("video/x-raw", word.replace(end, 2, "BE"));
    }
    return all;
}

// A format whose caps lead to another format, an odd width whose rows are padded, an output whose
// bytes are in another order.
TEST(Element, EveryFormatBecomesWhatTheEngineMakes) {
    for (int i = 0; i < imgcnv_format_count(); ++i) {
        const auto info = info_at(i);
        if (info.layout == IMGCNV_LAYOUT_POINTS) continue;  // noise is not a list of points
        for (const auto& [media, name] : caps_and_names(info)) {
            const auto frame = frame_of(name, kWidth, kHeight);
            const auto source = noise_for(frame);
            for (const auto& output : kOutputs) {
                if (info.is_color && output.kind == IMGCNV_TARGET_RAW16) continue;
                if (media != "video/x-pfnc" && &output != kOutputs) continue;
                SCOPED_TRACE(media + " " + name + " to " + output.name);
                auto harness = element("imgcnv range=full", caps_of(media, name, kWidth, kHeight),
                                       output.name);
                ASSERT_EQ(rows_of(harness, push(harness, source)), expected(frame, source, output));
            }
        }
    }
}

TEST(Element, ListsOfPointsHaveAnyLength) {
    const auto frame = frame_of("Mono1C", 64, 48);
    const Bytes one{9, 0x00, 0x30, 0x05};  // a value, row 3, column 5
    const Bytes two{9, 0x00, 0x30, 0x05, 200, 0x03, 0x00, 0x40};
    for (const auto& source : {one, two}) {
        auto harness = element("imgcnv", caps_of("video/x-pfnc", "Mono1C", 64, 48), "GRAY8");
        ASSERT_EQ(rows_of(harness, push(harness, source)), expected(frame, source, kOutputs[6]));
    }
}

// Cameras do not pad rows, GStreamer pads them to 4 bytes, newer ones to 4 pixels, and a
// GstVideoMeta may say anything.
TEST(Element, StridesAreToldApart) {
    constexpr int kOddWidth = 322 / 2 * 2 - 1;
    for (const char* name :
         {"rggb", "grbg", "bggr12le", "GRAY8", "RGB", "BayerRG12Packed", "Mono10p"}) {
        const std::string media =
            gst_video_format_from_string(name) != GST_VIDEO_FORMAT_UNKNOWN ? "video/x-raw"
            : std::strlen(name) == 4 || std::strchr(name, 'l')             ? "video/x-bayer"
                                                                           : "video/x-pfnc";
        const auto tight = frame_of(name, kOddWidth, kHeight);
        const auto row_bytes = imgcnv_row_bytes(tight.format, kOddWidth);
        for (const auto stride :
             {row_bytes, (row_bytes + 3) / 4 * 4,
              imgcnv_row_bytes(tight.format, kOddWidth / 4 * 4 + 4), row_bytes + 13}) {
            SCOPED_TRACE(std::string(name) + " every " + std::to_string(stride));
            auto padded = tight;
            padded.stride = stride;
            const auto source = noise_for(padded);
            auto harness = element("imgcnv", caps_of(media, name, kOddWidth, kHeight), "RGB");
            GstBuffer* buffer = gst_buffer_new_memdup(source.data(), source.size());
            if (stride == row_bytes + 13) {
                gsize offsets[4] = {0};
                gint strides[4] = {static_cast<gint>(stride)};
                gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE,
                                               GST_VIDEO_FORMAT_ENCODED, kOddWidth, kHeight, 1,
                                               offsets, strides);
            }
            // Rows of Mono10p that begin with a byte are told from a stream of bits by their
            // length.
            ASSERT_EQ(rows_of(harness, push(harness, buffer)),
                      expected(padded, source, kOutputs[0]));
        }
    }
}

/// Offers a pool whose rows lie further apart than they must.
GstPadProbeReturn offer_padded_pool(GstPad*, GstPadProbeInfo* probe, gpointer) {
    GstQuery* query = GST_PAD_PROBE_INFO_QUERY(probe);
    if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
    GstCaps* caps = nullptr;
    gst_query_parse_allocation(query, &caps, nullptr);
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps);
    GstVideoAlignment alignment;
    gst_video_alignment_reset(&alignment);
    alignment.padding_right = 40;
    alignment.padding_top = 2;
    gst_video_info_align(&info, &alignment);
    GstBufferPool* pool = gst_video_buffer_pool_new();
    GstStructure* config = gst_buffer_pool_get_config(pool);
    const auto size = static_cast<guint>(GST_VIDEO_INFO_SIZE(&info));
    gst_buffer_pool_config_set_params(config, caps, size, 0, 0);
    gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_ALIGNMENT);
    gst_buffer_pool_config_set_video_alignment(config, &alignment);
    gst_buffer_pool_set_config(pool, config);
    gst_query_add_allocation_pool(query, pool, size, 0, 0);
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    gst_object_unref(pool);
    return GST_PAD_PROBE_HANDLED;
}

TEST(Element, PicturesGoIntoBuffersOfDownstream) {
    Harness harness(gst_harness_new("imgcnv"));
    gst_pad_add_probe(harness->sinkpad, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, offer_padded_pool,
                      nullptr, nullptr);
    gst_harness_set_sink_caps_str(harness.get(), "video/x-raw,format=RGB");
    gst_harness_set_src_caps_str(harness.get(),
                                 caps_of("video/x-bayer", "gbrg", kWidth, kHeight).c_str());
    const auto frame = frame_of("gbrg", kWidth, kHeight);
    const auto source = noise_for(frame);
    for (int i = 0; i < 3; ++i) {
        const auto picture = push(harness, source);
        const auto* meta = gst_buffer_get_video_meta(picture.get());
        ASSERT_NE(meta, nullptr);
        ASSERT_GE(meta->stride[0], (kWidth + 40) * 3);
        ASSERT_EQ(rows_of(harness, picture), expected(frame, source, kOutputs[0]));
    }
}

TEST(Element, BuffersComeFromAPool) {
    auto harness = element("imgcnv", caps_of("video/x-bayer", "rggb", kWidth, kHeight), "RGBx");
    const auto source = noise_for(frame_of("rggb", kWidth, kHeight));
    EXPECT_NE(push(harness, source)->pool, nullptr);
}

TEST(Element, CapsAndPropertiesChangeWhilePlaying) {
    auto harness = element("imgcnv", caps_of("video/x-bayer", "rggb", kWidth, kHeight), "RGB");
    const auto expect = [&](const imgcnv_frame& frame, int demosaic, const imgcnv_levels* levels) {
        const auto source = noise_for(frame);
        ASSERT_EQ(rows_of(harness, push(harness, source)),
                  expected(frame, source, kOutputs[0], demosaic, levels));
    };
    expect(frame_of("BayerRG8", kWidth, kHeight), IMGCNV_BILINEAR, nullptr);
    gst_harness_set(harness.get(), "imgcnv", "demosaic", IMGCNV_ADAPTIVE, "threads", 2, nullptr);
    expect(frame_of("BayerRG8", kWidth, kHeight), IMGCNV_ADAPTIVE, nullptr);
    gst_harness_set_src_caps_str(harness.get(),
                                 caps_of("video/x-bayer", "grbg12le", 64, 40).c_str());
    expect(frame_of("BayerGR12", 64, 40), IMGCNV_ADAPTIVE, nullptr);
    gst_harness_set(harness.get(), "imgcnv", "black", 64.0, "white", 3000.0, "red-gain", 1.5,
                    "blue-gain", 0.5, nullptr);
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    levels.black = 64;
    levels.white = 3000;
    levels.red_gain = 1.5;
    levels.green_gain = 1;
    levels.blue_gain = 0.5;
    expect(frame_of("BayerGR12", 64, 40), IMGCNV_ADAPTIVE, &levels);
    // Caps that cannot tell the format stay, what they mean changes.
    gst_harness_set(harness.get(), "imgcnv", "pixel-format", "BayerGB12Packed", nullptr);
    expect(frame_of("BayerGB12Packed", 64, 40), IMGCNV_ADAPTIVE, &levels);
}

TEST(Element, AutoTakesTheLevelsOfItsFirstFrame) {
    auto harness = element("imgcnv auto=true", caps_of("video/x-bayer", "bggr", 64, 48), "RGB");
    const auto frame = frame_of("bggr", 64, 48);
    auto first = noise_for(frame);
    for (auto& byte : first) byte = static_cast<std::uint8_t>(50 + byte / 4);
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    ASSERT_EQ(imgcnv_auto_levels(&frame, first.data(), first.size(), &levels, nullptr, 0),
              IMGCNV_OK);
    const auto second = noise(first.size(), 2);
    for (const auto& source : {first, second})
        ASSERT_EQ(rows_of(harness, push(harness, source)),
                  expected(frame, source, kOutputs[0], IMGCNV_BILINEAR, &levels));
}

TEST(Element, RangeOfYuvComesFromCapsOrProperty) {
    auto frame = frame_of("UYVY", 64, 48);
    const auto source = noise_for(frame);
    const auto full = expected(frame, source, kOutputs[0]);
    frame.flags |= IMGCNV_FRAME_VIDEO_RANGE;
    const auto video = expected(frame, source, kOutputs[0]);
    ASSERT_NE(full, video);
    const auto made = [&](const std::string& launch, const std::string& colorimetry) {
        auto harness = element(launch, caps_of("video/x-raw", "UYVY", 64, 48, colorimetry), "RGB");
        return rows_of(harness, push(harness, source));
    };
    EXPECT_EQ(made("imgcnv range=full", ""), full);
    EXPECT_EQ(made("imgcnv range=video", ""), video);
    EXPECT_EQ(made("imgcnv range=video", ",colorimetry=(string)bt709"), video);
    EXPECT_EQ(made("imgcnv", ",colorimetry=(string)1:4:0:0"), full);
    EXPECT_EQ(made("imgcnv", ",colorimetry=(string)bt601"), video);
    EXPECT_EQ(made("imgcnv pixel-format=YUV422_8_UYVY", ""), full);
}

TEST(Element, GreyStaysGreyWhereBothAreTaken) {
    const auto format_made = [](const char* caps) {
        Harness harness(gst_harness_new("imgcnv"));
        gst_harness_set_sink_caps_str(harness.get(),
                                      "video/x-raw,format={RGBA,RGB,GRAY16_LE,GRAY8}");
        gst_harness_set_src_caps_str(harness.get(), caps);
        gst_harness_push(harness.get(), gst_buffer_new_allocate(nullptr, 64 * 48, nullptr));
        GstCaps* made = gst_pad_get_current_caps(harness->sinkpad);
        if (!made) return std::string("nothing");
        const std::string format =
            gst_structure_get_string(gst_caps_get_structure(made, 0), "format");
        gst_caps_unref(made);
        return format;
    };
    EXPECT_EQ(format_made("video/x-raw,format=GRAY8,width=64,height=48,framerate=1/1"), "GRAY8");
    EXPECT_EQ(format_made("video/x-bayer,format=rggb,width=64,height=48,framerate=1/1"), "RGB");
    // Dumps have no frame rate.
    EXPECT_EQ(format_made("video/x-pfnc,format=BayerGR8,width=64,height=48"), "RGB");
}

TEST(Element, ErrorsSayWhatToDo) {
    const auto has = [](const std::string& text, const std::string& part) {
        EXPECT_NE(text.find(part), std::string::npos) << "\"" << text << "\" lacks " << part;
    };
    const auto rggb = caps_of("video/x-bayer", "rggb", 600, 400);
    has(error_of("imgcnv", rggb, 360000), "360000");
    has(error_of("imgcnv", rggb, 360000), "240000");
    has(error_of("imgcnv", rggb, 480000), "2 frames");
    has(error_of("imgcnv pixel-format=BayerRG12Pakced", rggb, 360000), "BayerRG12Pakced");
    has(error_of("imgcnv", caps_of("video/x-pfnc", "BayerXX8", 64, 48), 3072), "BayerXX8");
    has(error_of("imgcnv", caps_of("video/x-raw", "UYVY", 64, 48), 6144), "range=full");
    has(error_of("imgcnv", caps_of("video/x-raw", "UYVY", 64, 48, ",colorimetry=(string)bt709"),
                 6144),
        "BT.601");
    EXPECT_EQ(error_of("imgcnv", rggb, 240000), "");
}

TEST(Element, RefusesCapsOfOtherVideo) {
    for (const char* caps : {"video/x-raw,format=I420,width=64,height=48,framerate=1/1",
                             "video/x-bayer,format=abcd,width=64,height=48,framerate=1/1"}) {
        Harness harness(gst_harness_new("imgcnv"));
        gst_harness_set_src_caps_str(harness.get(), caps);
        EXPECT_EQ(gst_harness_push(harness.get(), gst_buffer_new_allocate(nullptr, 6144, nullptr)),
                  GST_FLOW_NOT_NEGOTIATED)
            << caps;
    }
    auto harness = element("imgcnv", caps_of("video/x-bayer", "rggb", 64, 48), "GRAY16_LE");
    EXPECT_EQ(gst_harness_push(harness.get(), gst_buffer_new_allocate(nullptr, 3072, nullptr)),
              GST_FLOW_NOT_NEGOTIATED);
}

// The stock element rounds in another way: 1 of 255 is allowed, away from the edges.
TEST(Element, AgreesWithTheStockElement) {
    if (GstElementFactory* factory = gst_element_factory_find("bayer2rgb"))
        gst_object_unref(factory);
    else
        GTEST_SKIP() << "bayer2rgb (Debian: gstreamer1.0-plugins-bad) is missing: NOT COMPARED";
    constexpr int kStockWidth = 320;
    constexpr int kStockHeight = 240;
    for (const char* order : {"rggb", "gbrg", "bggr", "grbg"}) {
        const auto source = noise(kStockWidth * kStockHeight);
        const auto caps = caps_of("video/x-bayer", order, kStockWidth, kStockHeight);
        auto ours = element("imgcnv", caps, "BGRx");
        // Release 1.26 of it needs a pool from downstream, or its buffers are too small.
        auto stock = element("bayer2rgb ! video/x-raw,format=RGBx ! videoconvert", caps, "BGRx");
        const auto made = rows_of(ours, push(ours, source));
        const auto other = rows_of(stock, push(stock, source));
        ASSERT_EQ(made.size(), other.size());
        int worst = 0;
        for (int y = 8; y < kStockHeight - 8; ++y)
            for (int x = 8; x < kStockWidth - 8; ++x)
                for (int c = 0; c < 3; ++c) {
                    const auto at = static_cast<std::size_t>((y * kStockWidth + x) * 4 + c);
                    worst = std::max(worst, std::abs(made[at] - other[at]));
                }
        EXPECT_LE(worst, 1) << order;
    }
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    gst_init(&argc, &argv);
    const int result = RUN_ALL_TESTS();
    gst_deinit();  // where the leaks tracer reports
    return result;
}
