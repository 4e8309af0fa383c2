#include "cli/common_options.h"

#include "cli/messages.h"

#include <algorithm>
#include <limits>

namespace tool {
namespace {

void between(CLI::Option* option, long least, long most, const std::string& expected) {
    option->check([=](const std::string& text) {
        char* end = nullptr;
        const auto value = std::strtoll(text.c_str(), &end, 10);
        const bool fits = !text.empty() && *end == '\0' && value >= least && value <= most;
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
            "a number from " + std::to_string(least) + " on");
}

void add_source_options(CLI::App& command, SourceOptions& options) {
    command
        .add_option("-f,--format", options.format,
                    "Format of the frames: a name or code that `imgcnv formats` lists. "
                    "Default: as the file name says")
        ->type_name("FORMAT");
    command
        .add_option("-s,--size", options.size,
                    "Width and height in pixels. Default: as the file name says")
        ->type_name("WxH");
    at_least(
        command.add_option("--padding", options.padding, "Bytes behind the pixels of each row"), 0);
    at_least(command.add_option("--stride", options.stride,
                                "Bytes from one row's start to the next one's"),
             1);
    at_least(command.add_option("--skip", options.skip,
                                "Bytes before the first frame, such as a header"),
             0);
}

void add_quiet(CLI::App& command) {
    command.add_flag_callback(
        "-q,--quiet", [] { set_quiet(true); }, "Say nothing but errors");
}

void add_dump_options(CLI::App& command, DumpOptions& options) {
    command.add_option("FILE", options.file, "File of raw frames; - is standard input")->required();
    command.add_option("-s,--size", options.size, "Width and height in pixels, when known")
        ->type_name("WxH");
    command.add_option("--skip", options.skip, "Bytes before the first frame, such as a header")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    command.add_flag("--json", options.json, "For programs");
    add_quiet(command);
}

}  // namespace tool
