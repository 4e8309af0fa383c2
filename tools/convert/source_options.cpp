#include "cli/messages.h"
#include "convert/convert_options.h"
#include "convert/name_hints.h"
#include "errors.h"

#include <charconv>
#include <mutex>

namespace tool {
namespace {

std::optional<std::int64_t> whole_number(std::string_view text) {
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || value < 0)
        return std::nullopt;
    return value;
}

void say_once(const std::string& text) {
    static std::mutex lock;
    static std::string said;
    const std::lock_guard guard(lock);
    if (said != text) say_note(text);
    said = text;
}

}  // namespace

FrameShape SourceOptions::shape_for(const std::string& input) const {
    const auto hints = hints_in_name(input);
    FrameShape shape;
    std::string taken;
    if (!format.empty()) {
        shape.format = &formatNamed(format);
    } else if (hints.format != nullptr) {
        shape.format = hints.format;
        taken = std::string(hints.format->name);
    } else {
        throw UsageError("no format given for " + input +
                         " and none found in its name\n  what to do: -f FORMAT, for example -f "
                         "BayerRG8; `imgcnv formats` lists them");
    }
    if (!size.empty()) {
        const auto parsed = parse_size(size);
        if (!parsed)
            throw UsageError("--size " + size + ": expected WIDTHxHEIGHT, for example 1920x1080");
        std::tie(shape.width, shape.height) = *parsed;
    } else if (hints.size) {
        std::tie(shape.width, shape.height) = *hints.size;
        taken += (taken.empty() ? "" : " ") + std::to_string(shape.width) + "x" +
                 std::to_string(shape.height);
    } else {
        throw UsageError("no size given for " + input +
                         " and none found in its name\n  what to do: -s WIDTHxHEIGHT, for example "
                         "-s 1920x1080");
    }
    shape.stride = stride;
    shape = validated(shape, padding);
    if (!taken.empty()) say_once("taken from the file name: " + taken);
    if (shape.format->order == Order::GR && shape.height > 1)
        say_once("GR order: read as BG from the second row on, the picture has " +
                 std::to_string(shape.height - 1) + " rows");
    return shape;
}

FrameRange parse_frames(const std::string& text) {
    if (text == "all") return {true, 0, std::nullopt};
    const auto dash = text.find('-');
    const auto first = whole_number(text.substr(0, dash));
    const auto last = dash == std::string::npos ? first : whole_number(text.substr(dash + 1));
    if (!first || !last || *last < *first)
        throw UsageError("--frames " + text +
                         ": expected all, one number, or first-last; frames count from 0");
    return {true, *first, last};
}

}  // namespace tool
