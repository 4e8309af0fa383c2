#include "cli/common_options.h"

#include "cli/messages.h"
#include "engine/frame.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace tool {
namespace {

void between(CLI::Option* option, long least, long most, const std::string& expected) {
    option->check([=](const std::string& text) {
        char* end = nullptr;
        errno = 0;
        const auto value = std::strtoll(text.c_str(), &end, 10);
        const bool fits =
            !text.empty() && *end == '\0' && errno == 0 && value >= least && value <= most;
        return fits ? std::string() : "expected " + expected + ", given " + text;
    });
}

}  // namespace

void one_of(CLI::Option* option, const std::vector<std::string>& values) {
    std::string all;
    for (const auto& value : values) all += (all.empty() ? "" : "|") + value;
    option->type_name(all)->check([=](const std::string& text) {
        const bool known = std::find(values.begin(), values.end(), text) != values.end();
        return known ? std::string() : "expected " + all + ", given " + text;
    });
}

void in_range(CLI::Option* option, long least, long most) {
    const auto range = std::to_string(least) + "-" + std::to_string(most);
    option->type_name(range);
    between(option, least, most, range);
}

void at_least(CLI::Option* option, long least) {
    option->type_name("N");
    between(option, least, std::numeric_limits<long>::max(),
            "a number from " + std::to_string(least) + " on, below 2^63");
}

void not_empty(CLI::Option* option) {
    option->check([](const std::string& text) {
        return text.empty() ? "expected a value, given an empty one" : std::string();
    });
}

void not_an_option(CLI::Option* option) {
    option->check([](const std::string& text) {
        const bool is_option =
            text.size() > 1 && text[0] == '-' && (text[1] < '0' || text[1] > '9');
        return is_option ? "expected a value, given the option " + text : std::string();
    });
}

void add_source_options(CLI::App& command, SourceOptions& options) {
    not_an_option(command
                      .add_option("-f,--format", options.format,
                                  "Format of the frames: a name or code that `imgcnv formats` "
                                  "lists. Default: as the file name says")
                      ->type_name("FORMAT"));
    not_an_option(command
                      .add_option("-s,--size", options.size,
                                  "Width and height in pixels. Default: as the file name says")
                      ->type_name("WxH"));
    at_least(command.add_option("--padding", options.padding, "Bytes after the pixels of each row"),
             0);
    at_least(command.add_option("--stride", options.stride,
                                "Bytes from one row's start to the next one's"),
             1);
    at_least(command.add_option("--skip", options.skip,
                                "Bytes before the first frame, such as a header"),
             0);
    at_least(command.add_option("--gap", options.gap, "Bytes after each frame, such as chunk data"),
             0);
    command.add_flag("--big-endian", options.big_endian, "16-bit words have their high byte first");
    one_of(command.add_option("--range", options.range,
                              "Range of YUV: full, or video with Y in 16 to 235. Default: full"),
           {"full", "video"});
}

void add_method(CLI::App& command, int& demosaic) {
    auto* option = command.add_option_function<std::string>(
        "-m,--method",
        [&demosaic](const std::string& name) {
            char text[IMGCNV_TEXT_BYTES];
            check(imgcnv_find_demosaic(name.c_str(), &demosaic, text, sizeof text), text);
        },
        "How a Bayer mosaic becomes colour. Default: bilinear");
    one_of(option, {"nearest", "bilinear", "adaptive"});
}

void add_quiet(CLI::App& command) {
    command.add_flag_callback(
        "-q,--quiet", [] { set_quiet(true); }, "Say nothing but errors");
}

void add_dump_options(CLI::App& command, DumpOptions& options) {
    command.add_option("FILE", options.file, "File of raw frames; - is standard input")->required();
    not_an_option(
        command.add_option("-s,--size", options.size, "Width and height in pixels, when known")
            ->type_name("WxH"));
    at_least(command.add_option("--skip", options.skip,
                                "Bytes before the first frame, such as a header"),
             0);
    command.add_flag("--json", options.json, "For programs");
    add_quiet(command);
}

}  // namespace tool
