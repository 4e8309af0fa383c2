#include "imgcnv_element.h"

#include "frame_caps.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>
#include <string>

GST_DEBUG_CATEGORY_STATIC(imgcnv_debug);
#define GST_CAT_DEFAULT imgcnv_debug

namespace {

using imgcnv_gst::Range;

/// What users set, on any thread.
struct Settings {
    std::string pixel_format;
    int demosaic = IMGCNV_BILINEAR;
    int threads = 1;
    Range range = Range::kFromCaps;
    bool auto_levels = false;
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
};

bool are_neutral(const imgcnv_levels& levels) {
    const auto is_one = [](double gain) { return gain == 0 || gain == 1; };
    return levels.black == 0 && levels.white == 0 && is_one(levels.red_gain) &&
           is_one(levels.green_gain) && is_one(levels.blue_gain);
}

struct ClosePipeline {
    void operator()(imgcnv_pipeline* pipeline) const { imgcnv_pipeline_close(pipeline); }
};

struct State {
    std::mutex lock;
    Settings wanted;           // guarded by lock
    bool has_changed = false;  // guarded by lock

    // The streaming thread's own.
    Settings settings;
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    imgcnv_target target = IMGCNV_TARGET_INIT;
    imgcnv_levels measured = IMGCNV_LEVELS_INIT;
    bool is_measured = false;
    GstVideoInfo output;
    std::unique_ptr<imgcnv_pipeline, ClosePipeline> pipeline;
};

}  // namespace

struct _GstImgcnv {
    GstBaseTransform parent;
    State state;
};

G_DEFINE_TYPE(GstImgcnv, gst_imgcnv, GST_TYPE_BASE_TRANSFORM)

namespace {

enum Property {
    kPixelFormat = 1,
    kDemosaic,
    kThreads,
    kRange,
    kAuto,
    kBlack,
    kWhite,
    kRedGain,
    kGreenGain,
    kBlueGain
};

GType demosaic_type() {
    static const GEnumValue values[] = {
        {IMGCNV_NEAREST, "The nearest sample of each colour", "nearest"},
        {IMGCNV_BILINEAR, "The mean of the nearest samples", "bilinear"},
        {IMGCNV_ADAPTIVE, "Along edges, not across them", "adaptive"},
        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("ImgcnvDemosaic", values);
    return type;
}

GType range_type() {
    static const GEnumValue values[] = {
        {static_cast<int>(Range::kFromCaps), "As the caps' colorimetry says", "caps"},
        {static_cast<int>(Range::kFull), "0 to 255, as cameras deliver", "full"},
        {static_cast<int>(Range::kVideo), "16 to 235 and 240", "video"},
        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("ImgcnvRange", values);
    return type;
}

State& state_of(gpointer element) { return GST_IMGCNV(element)->state; }

double* level_of(Settings& settings, guint property) {
    switch (property) {
        case kBlack:
            return &settings.levels.black;
        case kWhite:
            return &settings.levels.white;
        case kRedGain:
            return &settings.levels.red_gain;
        case kGreenGain:
            return &settings.levels.green_gain;
        case kBlueGain:
            return &settings.levels.blue_gain;
        default:
            return nullptr;
    }
}

void set_property(GObject* object, guint property, const GValue* value, GParamSpec* parameter) {
    State& state = state_of(object);
    {
        const std::lock_guard guard(state.lock);
        Settings& wanted = state.wanted;
        if (double* level = level_of(wanted, property)) {
            *level = g_value_get_double(value);
        } else if (property == kPixelFormat) {
            const char* name = g_value_get_string(value);
            wanted.pixel_format = name ? name : "";
        } else if (property == kDemosaic) {
            wanted.demosaic = g_value_get_enum(value);
        } else if (property == kThreads) {
            wanted.threads = g_value_get_int(value);
        } else if (property == kRange) {
            wanted.range = static_cast<Range>(g_value_get_enum(value));
        } else if (property == kAuto) {
            wanted.auto_levels = g_value_get_boolean(value);
        } else {
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, parameter);
            return;
        }
        state.has_changed = true;
    }
    // Grey and colour formats become different things: the caps are to be settled again.
    if (property == kPixelFormat) gst_base_transform_reconfigure_src(GST_BASE_TRANSFORM(object));
}

void get_property(GObject* object, guint property, GValue* value, GParamSpec* parameter) {
    State& state = state_of(object);
    const std::lock_guard guard(state.lock);
    Settings& wanted = state.wanted;
    if (const double* level = level_of(wanted, property)) {
        g_value_set_double(value, *level);
    } else if (property == kPixelFormat) {
        g_value_set_string(value, wanted.pixel_format.c_str());
    } else if (property == kDemosaic) {
        g_value_set_enum(value, wanted.demosaic);
    } else if (property == kThreads) {
        g_value_set_int(value, wanted.threads);
    } else if (property == kRange) {
        g_value_set_enum(value, static_cast<int>(wanted.range));
    } else if (property == kAuto) {
        g_value_set_boolean(value, wanted.auto_levels);
    } else {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, parameter);
    }
}

void finalize(GObject* object) {
    state_of(object).~State();
    G_OBJECT_CLASS(gst_imgcnv_parent_class)->finalize(object);
}

std::string wanted_pixel_format(GstBaseTransform* transform) {
    State& state = state_of(transform);
    const std::lock_guard guard(state.lock);
    return state.wanted.pixel_format;
}

GstCaps* transform_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                        GstCaps* filter) {
    const auto pixel_format = wanted_pixel_format(transform);
    GstCaps* all = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure* structure = gst_caps_get_structure(caps, i);
        all = gst_caps_merge(all, direction == GST_PAD_SINK
                                      ? imgcnv_gst::output_caps(structure, pixel_format)
                                      : imgcnv_gst::input_caps(structure));
    }
    if (filter == nullptr) return all;
    GstCaps* filtered = gst_caps_intersect_full(filter, all, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(all);
    return filtered;
}

/// Of what both sides can do, the element's preference decides, not the order of the peer's caps.
GstCaps* preferred(std::span<const imgcnv_gst::Output> outputs, GstCaps* caps) {
    for (const auto& output : outputs) {
        GstCaps* one = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING,
                                           gst_video_format_to_string(output.format), nullptr);
        GstCaps* both = gst_caps_intersect_full(caps, one, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(one);
        if (!gst_caps_is_empty(both)) {
            gst_caps_unref(caps);
            return both;
        }
        gst_caps_unref(both);
    }
    return caps;
}

GstCaps* fixate_caps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps,
                     GstCaps* other) {
    if (direction == GST_PAD_SRC) return gst_caps_fixate(other);
    const auto outputs =
        imgcnv_gst::outputs_of(gst_caps_get_structure(caps, 0), wanted_pixel_format(transform));
    other = gst_caps_fixate(preferred(outputs, other));
    // What was YUV before is RGB now; GRAY needs no colorimetry.
    GstStructure* structure = gst_caps_get_structure(other, 0);
    const char* format = gst_structure_get_string(structure, "format");
    if (format && !g_str_has_prefix(format, "GRAY") &&
        !gst_structure_has_field(structure, "colorimetry"))
        gst_structure_set(structure, "colorimetry", G_TYPE_STRING, GST_VIDEO_COLORIMETRY_SRGB,
                          nullptr);
    return other;
}

gboolean transform_size(GstBaseTransform*, GstPadDirection, GstCaps*, gsize size, GstCaps* other,
                        gsize* other_size) {
    GstVideoInfo info;
    // Sizes of frames are the engine's to judge, in transform(): its text says what is wrong.
    const GstStructure* structure = gst_caps_get_structure(other, 0);
    const bool is_video =
        gst_structure_has_name(structure, "video/x-raw") && gst_video_info_from_caps(&info, other);
    *other_size = is_video ? GST_VIDEO_INFO_SIZE(&info) : size;
    return TRUE;
}

/// Describes the frame and the picture again. False: an error was posted.
bool describe(GstImgcnv* self, GstCaps* input) {
    State& state = self->state;
    state.pipeline.reset();
    state.is_measured = false;
    std::string why;
    if (!imgcnv_gst::describe_frame(gst_caps_get_structure(input, 0), state.settings.pixel_format,
                                    state.settings.range, state.frame, why)) {
        GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", why.c_str()), (nullptr));
        return false;
    }
    const auto outputs =
        imgcnv_gst::outputs_of(gst_caps_get_structure(input, 0), state.settings.pixel_format);
    const auto made = GST_VIDEO_INFO_FORMAT(&state.output);
    const auto output = std::ranges::find(outputs, made, &imgcnv_gst::Output::format);
    if (output == outputs.end()) {
        GST_ELEMENT_ERROR(self, STREAM, FORMAT,
                          ("a frame in colour cannot become %s: ask for RGB or GRAY8",
                           gst_video_format_to_string(made)),
                          (nullptr));
        return false;
    }
    state.target = IMGCNV_TARGET_INIT;
    state.target.kind = output->kind;
    state.target.flags = output->flags;
    state.target.demosaic = state.settings.demosaic;
    state.target.threads = state.settings.threads;
    return true;
}

/// Takes over what users have set since the last frame.
bool take_settings(State& state) {
    const std::lock_guard guard(state.lock);
    if (!state.has_changed) return false;
    state.settings = state.wanted;
    state.has_changed = false;
    return true;
}

gboolean set_caps(GstBaseTransform* transform, GstCaps* input, GstCaps* output) {
    GstImgcnv* self = GST_IMGCNV(transform);
    take_settings(self->state);
    if (!gst_video_info_from_caps(&self->state.output, output)) return FALSE;
    return describe(self, input);
}

/// Opens the pipeline for these strides, unless the open one is for them.
bool prepare(GstImgcnv* self, std::int64_t input_stride, std::int64_t output_stride,
             const void* source, gsize source_bytes) {
    State& state = self->state;
    if (state.pipeline && state.frame.stride == input_stride &&
        state.target.stride == output_stride)
        return true;
    state.frame.stride = input_stride;
    state.target.stride = output_stride;
    char text[IMGCNV_TEXT_BYTES] = "";
    if (state.settings.auto_levels && !state.is_measured) {
        state.measured = IMGCNV_LEVELS_INIT;
        state.is_measured = imgcnv_auto_levels(&state.frame, source, source_bytes, &state.measured,
                                               text, sizeof text) == IMGCNV_OK;
        if (!state.is_measured)
            GST_ELEMENT_WARNING(self, STREAM, FORMAT, ("no automatic levels: %s", text), (nullptr));
    }
    const auto& levels = state.is_measured ? state.measured : state.settings.levels;
    state.target.levels = are_neutral(levels) ? nullptr : &levels;
    imgcnv_pipeline* opened = nullptr;
    const int status =
        imgcnv_pipeline_open(&state.frame, &state.target, &opened, text, sizeof text);
    state.pipeline.reset(opened);
    if (status == IMGCNV_OK) return true;
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", text), (nullptr));
    return false;
}

GstFlowReturn convert(GstImgcnv* self, const std::uint8_t* source, gsize source_bytes,
                      const GstVideoMeta* meta, GstVideoFrame& picture) {
    std::int64_t stride = 0;
    std::string why;
    if (meta) {
        source += std::min<gsize>(meta->offset[0], source_bytes);
        source_bytes -= std::min<gsize>(meta->offset[0], source_bytes);
        stride = meta->stride[0];
    } else if (!imgcnv_gst::find_stride(self->state.frame, source_bytes, stride, why)) {
        GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", why.c_str()), (nullptr));
        return GST_FLOW_ERROR;
    }
    if (!prepare(self, stride, GST_VIDEO_FRAME_PLANE_STRIDE(&picture, 0), source, source_bytes))
        return GST_FLOW_ERROR;
    char text[IMGCNV_TEXT_BYTES] = "";
    const int status = imgcnv_pipeline_run(
        self->state.pipeline.get(), source, source_bytes, GST_VIDEO_FRAME_PLANE_DATA(&picture, 0),
        picture.map[0].size - GST_VIDEO_FRAME_PLANE_OFFSET(&picture, 0), text, sizeof text);
    if (status == IMGCNV_OK) return GST_FLOW_OK;
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", text), (nullptr));
    return GST_FLOW_ERROR;
}

GstFlowReturn transform(GstBaseTransform* base, GstBuffer* input, GstBuffer* output) {
    GstImgcnv* self = GST_IMGCNV(base);
    if (take_settings(self->state)) {
        GstCaps* caps = gst_pad_get_current_caps(GST_BASE_TRANSFORM_SINK_PAD(base));
        const bool is_described = caps != nullptr && describe(self, caps);
        if (caps) gst_caps_unref(caps);
        if (!is_described) return GST_FLOW_ERROR;
    }
    GstMapInfo source;
    if (!gst_buffer_map(input, &source, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, ("the buffer cannot be read"), (nullptr));
        return GST_FLOW_ERROR;
    }
    GstVideoFrame picture;
    GstFlowReturn result = GST_FLOW_ERROR;
    if (gst_video_frame_map(
            &picture, &self->state.output, output,
            static_cast<GstMapFlags>(GST_MAP_WRITE | int{GST_VIDEO_FRAME_MAP_FLAG_NO_REF}))) {
        result = convert(self, source.data, source.size, gst_buffer_get_video_meta(input), picture);
        gst_video_frame_unmap(&picture);
    } else {
        GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("the picture's buffer cannot be written"),
                          (nullptr));
    }
    gst_buffer_unmap(input, &source);
    return result;
}

/// Upstream may pad rows if it says how.
gboolean propose_allocation(GstBaseTransform* transform, GstQuery* decided, GstQuery* query) {
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    return GST_BASE_TRANSFORM_CLASS(gst_imgcnv_parent_class)
        ->propose_allocation(transform, decided, query);
}

/// Brings a pool where downstream has none: without one every picture is fresh memory, whose pages
/// the kernel clears one by one.
gboolean decide_allocation(GstBaseTransform* transform, GstQuery* query) {
    GstCaps* caps = nullptr;
    GstVideoInfo info;
    gst_query_parse_allocation(query, &caps, nullptr);
    if (caps == nullptr || !gst_video_info_from_caps(&info, caps)) return FALSE;
    GstBufferPool* pool = nullptr;
    guint size = 0;
    guint least = 0;
    guint most = 0;
    const bool is_offered = gst_query_get_n_allocation_pools(query) > 0;
    if (is_offered) gst_query_parse_nth_allocation_pool(query, 0, &pool, &size, &least, &most);
    if (pool == nullptr) pool = gst_video_buffer_pool_new();
    size = std::max(size, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)));
    GstStructure* config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, size, least, most);
    if (gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr))
        gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    gst_buffer_pool_set_config(pool, config);
    if (is_offered)
        gst_query_set_nth_allocation_pool(query, 0, pool, size, least, most);
    else
        gst_query_add_allocation_pool(query, pool, size, least, most);
    gst_object_unref(pool);
    return GST_BASE_TRANSFORM_CLASS(gst_imgcnv_parent_class)->decide_allocation(transform, query);
}

gboolean stop(GstBaseTransform* transform) {
    state_of(transform).pipeline.reset();
    return TRUE;
}

void install_properties(GObjectClass* object_class) {
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                    GST_PARAM_MUTABLE_PLAYING);
    const auto install = [&](Property property, GParamSpec* parameter) {
        g_object_class_install_property(object_class, property, parameter);
    };
    const auto install_level = [&](Property property, const char* name, const char* text,
                                   double most, double usual) {
        install(property, g_param_spec_double(name, name, text, 0, most, usual, flags));
    };
    install(kPixelFormat,
            g_param_spec_string("pixel-format", "pixel-format",
                                "The frames' true format, a PFNC name such as BayerRG12Packed, "
                                "where the caps cannot tell it. Empty: as the caps say",
                                "", flags));
    install(kDemosaic, g_param_spec_enum("demosaic", "demosaic", "How mosaics become colour",
                                         demosaic_type(), IMGCNV_BILINEAR, flags));
    install(kThreads, g_param_spec_int("threads", "threads",
                                       "Threads that work on a frame at most; 0: as many as pay", 0,
                                       256, 1, flags));
    install(kRange, g_param_spec_enum("range", "range", "Range of YUV samples", range_type(),
                                      static_cast<int>(Range::kFromCaps), flags));
    install(kAuto,
            g_param_spec_boolean("auto", "auto",
                                 "Take black, white and gains from the next frame and keep them; "
                                 "setting it again measures again",
                                 FALSE, flags));
    install_level(kBlack, "black", "Sample value that becomes black", 65535, 0);
    install_level(kWhite, "white", "Sample value that becomes white; 0: the format's largest",
                  65535, 0);
    install_level(kRedGain, "red-gain", "Factor of red samples; 0: 1", 64, 1);
    install_level(kGreenGain, "green-gain", "Factor of green and grey samples; 0: 1", 64, 1);
    install_level(kBlueGain, "blue-gain", "Factor of blue samples; 0: 1", 64, 1);
}

void add_pad_template(GstElementClass* element, const char* name, GstPadDirection direction,
                      GstCaps* caps) {
    gst_element_class_add_pad_template(element,
                                       gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
}

}  // namespace

static void gst_imgcnv_class_init(GstImgcnvClass* klass) {
    GST_DEBUG_CATEGORY_INIT(imgcnv_debug, "imgcnv", 0, "raw camera frames to pictures");
    auto* object = G_OBJECT_CLASS(klass);
    object->set_property = set_property;
    object->get_property = get_property;
    object->finalize = finalize;
    install_properties(object);

    auto* element = GST_ELEMENT_CLASS(klass);
    add_pad_template(element, "sink", GST_PAD_SINK, imgcnv_gst::sink_template());
    add_pad_template(element, "src", GST_PAD_SRC, imgcnv_gst::source_template());
    gst_element_class_set_static_metadata(
        element, "Raw camera frames to pictures", "Filter/Converter/Video",
        "Demosaics Bayer frames and unpacks every pixel format of machine-vision cameras",
        "The imgcnv authors");
    gst_type_mark_as_plugin_api(demosaic_type(), static_cast<GstPluginAPIFlags>(0));
    gst_type_mark_as_plugin_api(range_type(), static_cast<GstPluginAPIFlags>(0));

    auto* base = GST_BASE_TRANSFORM_CLASS(klass);
    base->transform_caps = transform_caps;
    base->fixate_caps = fixate_caps;
    base->transform_size = transform_size;
    base->set_caps = set_caps;
    base->transform = transform;
    base->propose_allocation = propose_allocation;
    base->decide_allocation = decide_allocation;
    base->stop = stop;
}

static void gst_imgcnv_init(GstImgcnv* self) {
    new (&self->state) State;
    self->state.wanted.levels.red_gain = 1;
    self->state.wanted.levels.green_gain = 1;
    self->state.wanted.levels.blue_gain = 1;
    self->state.has_changed = true;
    gst_video_info_init(&self->state.output);
}
