#include "frame_caps.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace imgcnv_gst {
namespace {

constexpr const char* kRaw = "video/x-raw";
constexpr const char* kBayer = "video/x-bayer";
constexpr const char* kPfnc = "video/x-pfnc";
// No frame rate: dumps have none.
constexpr const char* kSize = "width=(int)[1,max],height=(int)[1,max]";

constexpr auto kGray16 =
    G_BYTE_ORDER == G_LITTLE_ENDIAN ? GST_VIDEO_FORMAT_GRAY16_LE : GST_VIDEO_FORMAT_GRAY16_BE;

constexpr Output kGray8{GST_VIDEO_FORMAT_GRAY8, IMGCNV_TARGET_MONO8, 0};
constexpr std::array kColorOutputs = {
    Output{GST_VIDEO_FORMAT_RGB, IMGCNV_TARGET_RGB24, 0},
    Output{GST_VIDEO_FORMAT_BGR, IMGCNV_TARGET_BGR24, 0},
    Output{GST_VIDEO_FORMAT_RGBx, IMGCNV_TARGET_RGBA32, IMGCNV_TARGET_ANY_ALPHA},
    Output{GST_VIDEO_FORMAT_BGRx, IMGCNV_TARGET_BGRA32, IMGCNV_TARGET_ANY_ALPHA},
    Output{GST_VIDEO_FORMAT_RGBA, IMGCNV_TARGET_RGBA32, IMGCNV_TARGET_KEEP_ALPHA},
    Output{GST_VIDEO_FORMAT_BGRA, IMGCNV_TARGET_BGRA32, IMGCNV_TARGET_KEEP_ALPHA},
    kGray8,
};
// 16-bit grey of GStreamer is 0 to 65535, whatever the camera's depth.
constexpr std::array kGreyOutputs = {
    kGray8,           Output{kGray16, IMGCNV_TARGET_RAW16, IMGCNV_TARGET_FULL_SCALE},
    kColorOutputs[0], kColorOutputs[1],
    kColorOutputs[2], kColorOutputs[3],
    kColorOutputs[4], kColorOutputs[5],
};

bool is_order(std::string_view name) {
    const auto order = name.substr(0, 4);
    return order == "rggb" || order == "gbrg" || order == "bggr" || order == "grbg";
}

void append(GValue& list, const std::string& name) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, G_TYPE_STRING);
    g_value_set_string(&value, name.c_str());
    gst_value_list_append_and_take_value(&list, &value);
}

/// The engine's GStreamer names, and those that differ from them in the order of bytes alone.
template <typename Function>
void for_each_name(Function use) {
    for (int i = 0; i < imgcnv_format_count(); ++i) {
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        imgcnv_format_at(i, &info);
        std::istringstream names(info.gstreamer);
        for (std::string name; names >> name;) {
            use(name);
            const auto end = name.size() < 2 ? name.size() : name.size() - 2;
            const bool is_upper = name.compare(end, 2, "LE") == 0;
            if (!is_upper && name.compare(end, 2, "le") != 0) continue;
            name.replace(end, 2, is_upper ? "BE" : "be");
            std::uint32_t code = 0;
            std::uint32_t flags = 0;
            if (imgcnv_find_format(name.c_str(), &code, &flags, nullptr, 0) == IMGCNV_OK &&
                code == info.code && (flags & IMGCNV_FRAME_BIG_ENDIAN))
                use(name);
        }
    }
}

GstCaps* caps_with_formats(const char* media, GValue& formats) {
    const auto text = std::string(media) + "," + kSize;
    GstCaps* caps = gst_caps_from_string(text.c_str());
    gst_caps_set_value(caps, "format", &formats);
    g_value_unset(&formats);
    return caps;
}

GstCaps* caps_of_outputs(std::span<const Output> outputs) {
    GValue formats = G_VALUE_INIT;
    g_value_init(&formats, GST_TYPE_LIST);
    for (const auto& output : outputs) append(formats, gst_video_format_to_string(output.format));
    return caps_with_formats(kRaw, formats);
}

/// Gives every structure of `to` the geometry and rate of `from`.
GstCaps* with_geometry_of(const GstStructure* from, GstCaps* to) {
    for (const char* field : {"width", "height", "framerate", "pixel-aspect-ratio"})
        if (const GValue* value = gst_structure_get_value(from, field))
            gst_caps_set_value(to, field, value);
    return to;
}

constexpr const char* kAnyRate = "video/x-raw,framerate=(fraction)[0/1,max]";

/// Whether the rate may be any, which caps without one do not satisfy.
bool has_any_rate(const GstStructure* caps) {
    GstStructure* any = gst_structure_from_string(kAnyRate, nullptr);
    const GValue* rate = gst_structure_get_value(caps, "framerate");
    const bool is_any = rate && gst_value_compare(rate, gst_structure_get_value(
                                                            any, "framerate")) == GST_VALUE_EQUAL;
    gst_structure_free(any);
    return is_any;
}

const char* format_name(const GstStructure* caps, const std::string& pixel_format) {
    return pixel_format.empty() ? gst_structure_get_string(caps, "format") : pixel_format.c_str();
}

bool find_format(const char* name, imgcnv_frame& frame, std::string* why) {
    char text[IMGCNV_TEXT_BYTES] = "";
    if (imgcnv_find_format(name, &frame.format, &frame.flags, text, sizeof text) == IMGCNV_OK)
        return true;
    if (why) *why = text;
    return false;
}

imgcnv_format_info info_of(const imgcnv_frame& frame) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    imgcnv_format_of_code(frame.format, &info);
    return info;
}

imgcnv_frame_sizes sizes_of(const imgcnv_frame& frame) {
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    imgcnv_frame_measure(&frame, &sizes, nullptr, 0);
    return sizes;
}

bool is_yuv(const imgcnv_format_info& info) {
    return info.layout >= IMGCNV_LAYOUT_UYYVYY && info.layout <= IMGCNV_LAYOUT_UYV;
}

/// Caps of YUV mean video range and a matrix by size where they say nothing, cameras deliver full
/// range: guessing would shift the colours unnoticed.
bool set_range_of_caps(const GstStructure* caps, imgcnv_frame& frame, std::string& why) {
    const char* text = gst_structure_get_string(caps, "colorimetry");
    GstVideoColorimetry colorimetry{};
    if (text == nullptr || !gst_video_colorimetry_from_string(&colorimetry, text) ||
        colorimetry.range == GST_VIDEO_COLOR_RANGE_UNKNOWN) {
        why =
            "the caps do not tell the range of YUV samples: set range=full (cameras) or "
            "range=video (16 to 235)";
        return false;
    }
    if (colorimetry.matrix != GST_VIDEO_COLOR_MATRIX_BT601 &&
        colorimetry.matrix != GST_VIDEO_COLOR_MATRIX_UNKNOWN) {
        why = std::string("colorimetry=") + text +
              " does not have the matrix of BT.601, the only one this element has: convert with "
              "videoconvert, or set range=full or range=video to use BT.601 all the same";
        return false;
    }
    if (colorimetry.range == GST_VIDEO_COLOR_RANGE_16_235) frame.flags |= IMGCNV_FRAME_VIDEO_RANGE;
    return true;
}

}  // namespace

std::span<const Output> outputs_of(const GstStructure* caps, const std::string& pixel_format) {
    const char* name = format_name(caps, pixel_format);
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    if (name && find_format(name, frame, nullptr) && info_of(frame).is_color) return kColorOutputs;
    return kGreyOutputs;
}

GstCaps* sink_template() {
    GValue bayer = G_VALUE_INIT;
    GValue raw = G_VALUE_INIT;
    g_value_init(&bayer, GST_TYPE_LIST);
    g_value_init(&raw, GST_TYPE_LIST);
    for_each_name([&](const std::string& name) {
        if (is_order(name))
            append(bayer, name);
        else if (gst_video_format_from_string(name.c_str()) != GST_VIDEO_FORMAT_UNKNOWN)
            append(raw, name);
    });
    GstCaps* caps = caps_with_formats(kBayer, bayer);
    gst_caps_append(caps, caps_with_formats(kRaw, raw));
    // Any name: one that the engine does not know is answered by its advice, not by caps that do
    // not match.
    gst_caps_append(caps, gst_caps_from_string((std::string(kPfnc) + "," + kSize).c_str()));
    return caps;
}

GstCaps* source_template() { return caps_of_outputs(kGreyOutputs); }

GstCaps* output_caps(const GstStructure* caps, const std::string& pixel_format) {
    GstCaps* outputs = caps_of_outputs(outputs_of(caps, pixel_format));
    if (!gst_structure_has_field(caps, "framerate")) {
        // Raw video has a rate, 0/1 where it is not known.
        GstStructure* any = gst_structure_from_string(kAnyRate, nullptr);
        gst_caps_set_value(outputs, "framerate", gst_structure_get_value(any, "framerate"));
        gst_structure_free(any);
    }
    return with_geometry_of(caps, outputs);
}

GstCaps* input_caps(const GstStructure* caps) {
    GstCaps* inputs = with_geometry_of(caps, sink_template());
    if (has_any_rate(caps))
        for (guint i = 0; i < gst_caps_get_size(inputs); ++i)
            gst_structure_remove_field(gst_caps_get_structure(inputs, i), "framerate");
    return inputs;
}

bool describe_frame(const GstStructure* caps, const std::string& pixel_format, Range range,
                    imgcnv_frame& frame, std::string& why) {
    const char* name = format_name(caps, pixel_format);
    int width = 0;
    int height = 0;
    if (!gst_structure_get_int(caps, "width", &width) ||
        !gst_structure_get_int(caps, "height", &height)) {
        why = "the caps have no width and height";
        return false;
    }
    frame = IMGCNV_FRAME_INIT;
    frame.width = width;
    frame.height = height;
    if (name == nullptr) {
        why = "the caps have no format: add one, or set pixel-format";
        return false;
    }
    if (!find_format(name, frame, &why)) return false;
    if (is_yuv(info_of(frame))) {
        // A PFNC name means what cameras deliver: full range.
        const bool from_caps =
            range == Range::kFromCaps && pixel_format.empty() && gst_structure_has_name(caps, kRaw);
        if (range == Range::kVideo) frame.flags |= IMGCNV_FRAME_VIDEO_RANGE;
        if (from_caps && !set_range_of_caps(caps, frame, why)) return false;
    }
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    char text[IMGCNV_TEXT_BYTES] = "";
    if (imgcnv_frame_measure(&frame, &sizes, text, sizeof text) == IMGCNV_OK) return true;
    why = text;
    return false;
}

bool find_stride(imgcnv_frame frame, gsize buffer_bytes, std::int64_t& stride, std::string& why) {
    if (info_of(frame).layout == IMGCNV_LAYOUT_POINTS) {  // lists have no rows
        stride = 0;
        return true;
    }
    const auto bytes = static_cast<std::int64_t>(buffer_bytes);
    const auto round_up_4 = [](std::int64_t value) { return (value + 3) / 4 * 4; };
    const auto row_bytes = imgcnv_row_bytes(frame.format, frame.width);
    // Cameras pad nothing. GStreamer pads rows to 4 bytes, and rows of mosaics of more than 8 bits
    // to 4 pixels. Caps do not tell which; the length of the buffer does.
    for (const auto candidate : {std::int64_t{0}, row_bytes, round_up_4(row_bytes),
                                 imgcnv_row_bytes(frame.format, round_up_4(frame.width))}) {
        frame.stride = candidate;
        const auto sizes = sizes_of(frame);
        if (bytes != sizes.frame_bytes && bytes != sizes.needed_bytes) continue;
        stride = candidate;
        return true;
    }
    frame.stride = 0;
    imgcnv_file_fit fit{};
    fit.struct_size = sizeof fit;
    char text[IMGCNV_TEXT_BYTES] = "";
    imgcnv_frame_describe(&frame, text, sizeof text);
    why = "the buffer has " + std::to_string(bytes) + " bytes, expected " +
          std::to_string(sizes_of(frame).frame_bytes) + " for " + text + "\n";
    imgcnv_file_measure(&frame, bytes, &fit, text, sizeof text);
    why += *text ? text
                 : "it holds " + std::to_string(fit.frames) +
                       " frames: each must come in a buffer of its own";
    return false;
}

}  // namespace imgcnv_gst
