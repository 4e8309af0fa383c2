// What the page's Workers call: the frame engine behind numbers, texts and buffers, which is all
// that JavaScript and WebAssembly have in common.
//
// Numbers go in as arguments and come back in numbers(); texts and JSON come back in text() and
// json(); bytes lie in the buffers of room(). Functions that can fail return an imgcnv_status.

#include "imgcnv_frames.h"

#include "convert/name_hints.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

#define EXPORTED(name) extern "C" __attribute__((export_name(#name)))

namespace {

constexpr int kMostReadings = 12;

struct Buffer {
    void* bytes = nullptr;
    std::size_t size = 0;
};

Buffer buffers[4];
double given_numbers[16];
char given_text[IMGCNV_TEXT_BYTES];
std::string given_json;
imgcnv_frame frame = IMGCNV_FRAME_INIT;
imgcnv_target target = IMGCNV_TARGET_INIT;
imgcnv_levels levels = IMGCNV_LEVELS_INIT;

/// What people type may be no number, or a number beyond every integer.
std::int64_t whole(double number) {
    constexpr double kLargest = 9007199254740991;  // from there on JavaScript's numbers have gaps
    if (std::isnan(number)) return -1;
    return static_cast<std::int64_t>(std::clamp(number, -kLargest, kLargest));
}

template <class... Numbers>
void give(Numbers... numbers) {
    const double all[] = {static_cast<double>(numbers)...};
    std::copy(std::begin(all), std::end(all), given_numbers);
}

const char* argument() { return static_cast<const char*>(buffers[3].bytes); }

void add_string(const char* name, const char* value) {
    given_json += std::string("\"") + name + "\":\"";
    for (; *value != '\0'; ++value) {
        if (*value == '"' || *value == '\\') given_json += '\\';
        if (static_cast<unsigned char>(*value) >= ' ') given_json += *value;
    }
    given_json += "\",";
}

void add_number(const char* name, double value) {
    // Whole numbers up to 2^53, or a score with six digits.
    const auto integer = static_cast<std::int64_t>(value);
    given_json += std::string("\"") + name + "\":";
    given_json +=
        value == static_cast<double>(integer) ? std::to_string(integer) : std::to_string(value);
    given_json += ',';
}

void open_object() { given_json += given_json.back() == '[' ? "{" : ",{"; }
void close_object() { given_json.back() = '}'; }

}  // namespace

// The Worker reads a slice of its file: how many bytes it put there.
extern "C" __attribute__((import_module("page"), import_name("read"))) double page_read(
    double offset, void* buffer, double bytes);

EXPORTED(numbers) const double* numbers() { return given_numbers; }
EXPORTED(text) const char* text() { return given_text; }
EXPORTED(json) const char* json() { return given_json.c_str(); }

// Buffer 0: the frame, 1: its picture, 2: its samples, 3: a text for the call that follows. Its
// bytes are lost when it grows. Null when there is no memory.
EXPORTED(room) void* room(int number, double bytes) {
    auto& buffer = buffers[number];
    const auto size = static_cast<std::size_t>(std::max(1.0, bytes));
    if (bytes > 2e9) return nullptr;
    if (size > buffer.size) {
        std::free(buffer.bytes);
        buffer = {std::malloc(size), size};
        if (buffer.bytes == nullptr) buffer.size = 0;
    }
    return buffer.bytes;
}

// The table of formats.
EXPORTED(formats) void formats() {
    given_json = "[";
    for (int i = 0; i < imgcnv_format_count(); ++i) {
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        imgcnv_format_at(i, &info);
        open_object();
        add_number("code", info.code);
        add_number("bits", info.bits_per_pixel);
        add_number("depth", info.depth);
        add_number("layout", info.layout);
        add_number("order", info.order);
        add_number("isColor", info.is_color);
        add_number("groupPixels", info.group_pixels);
        add_number("groupBytes", info.group_bytes);
        add_string("name", info.name);
        add_string("layoutText", info.layout_text);
        add_string("names", (std::string(info.pfnc) + " " + info.gstreamer + " " + info.v4l2 + " " +
                             info.ffmpeg + " " + info.ros)
                                .c_str());
        close_object();
    }
    given_json += "]";
}

// Numbers: code, flags.
EXPORTED(find_format) int find_format() {
    std::uint32_t code = 0, flags = 0;
    const int status = imgcnv_find_format(argument(), &code, &flags, given_text, sizeof given_text);
    give(code, flags);
    return status;
}

// What a file's name says. Numbers: width, height, code, flags; 0 for what it does not say.
EXPORTED(name_hints) void name_hints() {
    const auto hints = tool::hints_in_name(argument());
    const auto size = hints.size.value_or(std::pair<std::int64_t, std::int64_t>(0, 0));
    give(size.first, size.second, hints.format ? hints.format->code : 0, hints.flags);
}

// Numbers: row_bytes, stride, frame_bytes, needed_bytes.
EXPORTED(set_frame)
int set_frame(double code, double flags, double width, double height, double stride, double skip,
              double gap) {
    frame.format = static_cast<std::uint32_t>(whole(code));
    frame.flags = static_cast<std::uint32_t>(whole(flags));
    frame.width = whole(width);
    frame.height = whole(height);
    frame.stride = whole(stride);
    frame.skip = whole(skip);
    frame.gap = whole(gap);
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    const int status = imgcnv_frame_measure(&frame, &sizes, given_text, sizeof given_text);
    give(sizes.row_bytes, sizes.stride, sizes.frame_bytes, sizes.needed_bytes);
    return status;
}

// Numbers: frames, left_over, fit, value.
EXPORTED(fit_file) int fit_file(double bytes) {
    imgcnv_file_fit fit{};
    fit.struct_size = sizeof fit;
    const int status =
        imgcnv_file_measure(&frame, whole(bytes), &fit, given_text, sizeof given_text);
    give(fit.frames, fit.left_over, fit.fit, fit.value);
    return status;
}

EXPORTED(row_bytes) double row_bytes(double code, double width) {
    return static_cast<double>(
        imgcnv_row_bytes(static_cast<std::uint32_t>(whole(code)), whole(width)));
}

EXPORTED(set_target) void set_target(int kind, int demosaic, int rotation, int flags) {
    target.kind = kind;
    target.demosaic = demosaic;
    target.rotation = rotation;
    target.flags = static_cast<std::uint32_t>(flags);
}

EXPORTED(set_levels)
void set_levels(double black, double white, double red, double green, double blue, double gamma,
                double contrast) {
    levels.black = black;
    levels.white = white;
    levels.red_gain = red;
    levels.green_gain = green;
    levels.blue_gain = blue;
    levels.gamma = gamma;
    levels.contrast = contrast;
    const bool changes_nothing = black == 0 && white == 0 && red == 1 && green == 1 && blue == 1 &&
                                 gamma == 1 && contrast == 1;
    target.levels = changes_nothing ? nullptr : &levels;
}

// Converts the frame that begins at byte `start` of buffer 0 into buffer 1, or 2. Numbers: width,
// height, channels, channel_bytes, bytes of the picture.
EXPORTED(convert) int convert(int into, double source_bytes, double start) {
    imgcnv_pipeline* pipeline = nullptr;
    int status = imgcnv_pipeline_open(&frame, &target, &pipeline, given_text, sizeof given_text);
    if (status != IMGCNV_OK) return status;
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    imgcnv_pipeline_describe(pipeline, &info);
    auto* picture = room(into, static_cast<double>(info.picture_bytes));
    if (picture == nullptr) {
        imgcnv_pipeline_close(pipeline);
        const auto megabytes = std::to_string(info.picture_bytes / 1000000);
        ("the picture needs " + megabytes + " MB of memory, more than there is")
            .copy(given_text, sizeof given_text - 1);
        return IMGCNV_OUT_OF_MEMORY;
    }
    const auto* source = static_cast<const std::uint8_t*>(buffers[0].bytes);
    status = imgcnv_pipeline_run(
        pipeline, source + static_cast<std::size_t>(start), static_cast<std::size_t>(source_bytes),
        picture, static_cast<std::size_t>(info.picture_bytes), given_text, sizeof given_text);
    imgcnv_pipeline_close(pipeline);
    give(info.width, info.height, info.channels, info.channel_bytes, info.picture_bytes);
    return status;
}

// Of the frame in buffer 0. Numbers: black, white, gains of red, green and blue.
EXPORTED(auto_levels) int auto_levels(double source_bytes) {
    imgcnv_levels found = IMGCNV_LEVELS_INIT;
    const int status =
        imgcnv_auto_levels(&frame, buffers[0].bytes, static_cast<std::size_t>(source_bytes), &found,
                           given_text, sizeof given_text);
    give(found.black, found.white, found.red_gain, found.green_gain, found.blue_gain);
    return status;
}

// Ranks readings of a file of `bytes` bytes, whose name is the argument, into json().
EXPORTED(guess) int guess(double bytes) {
    imgcnv_guess_question question{};
    question.struct_size = sizeof question;
    question.bytes = whole(bytes);
    question.read = [](void*, std::int64_t offset, void* buffer, std::int64_t count) {
        return whole(page_read(static_cast<double>(offset), buffer, static_cast<double>(count)));
    };
    question.known = IMGCNV_FRAME_INIT;
    question.known.skip = question.known.gap = -1;
    question.name = argument();
    static imgcnv_reading readings[kMostReadings];
    for (auto& reading : readings) reading.struct_size = sizeof reading;
    int count = 0;
    const int status =
        imgcnv_guess(&question, readings, kMostReadings, &count, given_text, sizeof given_text);
    given_json = "[";
    for (int i = 0; i < count; ++i) {
        const auto& reading = readings[i];
        open_object();
        add_number("code", reading.frame.format);
        add_number("flags", reading.frame.flags);
        add_number("width", static_cast<double>(reading.frame.width));
        add_number("height", static_cast<double>(reading.frame.height));
        add_number("stride", static_cast<double>(reading.frame.stride));
        add_number("skip", static_cast<double>(reading.frame.skip));
        add_number("gap", static_cast<double>(reading.frame.gap));
        add_number("frames", static_cast<double>(reading.frames));
        add_number("score", reading.score);
        add_string("unknown", reading.unknown);
        close_object();
    }
    given_json += "]";
    return status;
}
