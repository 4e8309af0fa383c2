#include "convert/source_options.h"

#include "cli/messages.h"
#include "cli/size_option.h"
#include "convert/name_hints.h"
#include "errors.h"
#include "io/input_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <mutex>

namespace tool {
namespace {

void say_once(const std::string& text) {
    static std::mutex lock;
    static std::string said;
    const std::lock_guard guard(lock);
    if (said != text) say_note(text);
    said = text;
}

[[noreturn]] void fail_without(const char* what, const std::string& input, const char* example) {
    const bool is_file = input != "-";
    // A file that cannot be read is the first thing to say. Opening a pipe would wait for its
    // writer.
    std::error_code ignored;
    if (is_file && !std::filesystem::is_fifo(input, ignored) && InputFile(input).size() == 0)
        throw Failure(shown(input) + ": the file is empty");
    throw UsageError(
        std::string("no ") + what + " given for " +
        (is_file ? shown(input) + " and none found in its name" : "standard input") +
        "\n  what to do: " + example +
        (is_file ? ", or see what `imgcnv guess " + shell_word(input) + "` finds" : ""));
}

std::int64_t stride_with(std::int64_t padding, const imgcnv_frame& frame) {
    if (padding > std::numeric_limits<std::int32_t>::max())
        throw UsageError("--padding " + std::to_string(padding) +
                         ": expected 0 to 2147483647 bytes");
    return imgcnv_row_bytes(frame.format, frame.width) + padding;
}

double number(const std::string& option, const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value > 0 && value <= 64))
        throw UsageError(option +
                         ": expected a number above 0 and at most 64, or three such as "
                         "1.8,1,1.5 for red, green and blue; given " +
                         text);
    return value;
}

/// In imgcnv_levels 0 stands for what is usual; whoever writes the option means something else.
double not_zero(const char* option, double value) {
    if (value == 0)
        throw UsageError(
            std::string(option) +
            ": expected a number other than 0. Leave the option out for the usual value");
    return value;
}

void set_gains(const std::string& text, imgcnv_levels& levels) {
    const auto first = text.find(','), second = text.find(',', first + 1);
    if (first == std::string::npos) {
        levels.red_gain = levels.green_gain = levels.blue_gain = number("--gain", text);
        return;
    }
    if (second == std::string::npos) number("--gain", text);  // two numbers: its text says so
    levels.red_gain = number("--gain", text.substr(0, first));
    levels.green_gain = number("--gain", text.substr(first + 1, second - first - 1));
    levels.blue_gain = number("--gain", text.substr(second + 1));
}

void say_levels(const imgcnv_levels& levels) {
    char text[256];
    std::snprintf(text, sizeof text, "--auto found --black %g --white %g --gain %.3f,%.3f,%.3f",
                  levels.black, levels.white, levels.red_gain, levels.green_gain, levels.blue_gain);
    say_once(text);
}

}  // namespace

Frame SourceOptions::frame_for(const std::string& input) const {
    const auto hints = hints_in_name(input);
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    std::string taken;
    if (format) {
        set_format(frame, *format);
    } else if (hints.format) {
        frame.format = hints.format->code;
        frame.flags = hints.flags;
        taken = hints.format->name;
    } else {
        fail_without("format", input,
                     "-f FORMAT, for example -f BayerRG8 (`imgcnv formats` lists "
                     "them)");
    }
    const auto asked = requested_size(size);
    if (!asked && !hints.size)
        fail_without("size", input, "-s WIDTHxHEIGHT, for example -s 1920x1080");
    std::tie(frame.width, frame.height) = asked ? *asked : *hints.size;
    if (!asked)
        taken += (taken.empty() ? "" : " ") + std::to_string(frame.width) + "x" +
                 std::to_string(frame.height);
    if (stride && padding) throw UsageError("give --stride or --padding, not both");
    frame.skip = skip;
    frame.gap = gap;
    if (big_endian) frame.flags |= IMGCNV_FRAME_BIG_ENDIAN;
    if (range == "video") frame.flags |= IMGCNV_FRAME_VIDEO_RANGE;
    measured(frame);  // before its width is multiplied
    frame.stride = padding ? stride_with(*padding, frame) : stride.value_or(0);
    const auto checked = measured(frame);
    if (!taken.empty()) say_once("taken from the file name: " + taken);
    return checked;
}

imgcnv_levels LevelOptions::levels_for(const Frame& frame,
                                       std::span<const std::uint8_t> source) const {
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    if (automatic) {
        char text[IMGCNV_TEXT_BYTES];
        check(imgcnv_auto_levels(&frame.given, source.data(), source.size(), &levels, text,
                                 sizeof text),
              text);
    }
    if (black) levels.black = *black;
    if (white) levels.white = not_zero("--white", *white);
    if (gamma) levels.gamma = not_zero("--gamma", *gamma);
    if (contrast) levels.contrast = not_zero("--contrast", *contrast);
    if (!gain.empty()) set_gains(gain, levels);
    if (automatic) say_levels(levels);
    return levels;
}

}  // namespace tool
