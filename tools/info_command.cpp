#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/name_hints.h"
#include "errors.h"
#include "guess/point_list.h"
#include "info/length_fits.h"
#include "io/input_file.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace tool {
namespace {

constexpr std::size_t kShownFits = 16;
/// A list of points shows itself in its beginning.
constexpr std::int64_t kPointBytes = 1 << 20;

/// BayerRG8, BayerGB8 and the others of a depth are one word: Bayer*8.
std::string names_of(const LengthFit& fit) {
    std::vector<std::string> names;
    for (const auto* format : fit.formats) {
        std::string name(format->name);
        if (is_mosaic(*format)) name.replace(5, 2, "*");
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : " ") + name;
    return text;
}

void print_fits(const char* title, std::vector<LengthFit> fits) {
    if (fits.empty()) return;
    std::printf("\n%s:\n  %-11s %7s %8s  %s\n", title, "Size", "Frames", "Padding", "Formats");
    const auto hidden = fits.size() - std::min(fits.size(), kShownFits);
    fits.resize(fits.size() - hidden);
    for (const auto& fit : fits) {
        const auto size = std::to_string(fit.width) + "x" + std::to_string(fit.height);
        std::printf("  %-11s %7lld %8lld  %s\n", size.c_str(), static_cast<long long>(fit.frames),
                    static_cast<long long>(fit.padding), names_of(fit).c_str());
    }
    if (hidden > 0) std::printf("  and %zu with more frames; --json lists them\n", hidden);
}

void print_json_fits(const char* key, const std::vector<LengthFit>& fits) {
    std::printf(",\n \"%s\": [", key);
    const char* separator = "\n";
    for (const auto& fit : fits) {
        std::string names;
        for (const auto* format : fit.formats)
            names += (names.empty() ? "" : ", ") + json_string(format->name);
        std::printf(
            "%s  {\"width\": %lld, \"height\": %lld, \"frames\": %lld, \"padding\": %lld, "
            "\"formats\": [%s]}",
            separator, static_cast<long long>(fit.width), static_cast<long long>(fit.height),
            static_cast<long long>(fit.frames), static_cast<long long>(fit.padding), names.c_str());
        separator = ",\n";
    }
    std::printf("]");
}

void info(const DumpOptions& options) {
    const auto size = requested_size(options.size);
    const auto file = seekable(options.file);
    const auto bytes = *file->size() - options.skip;
    if (bytes <= 0)
        throw Failure(file->name() +
                      (*file->size() == 0
                           ? ": the file is empty"
                           : ": nothing is left after the first " + std::to_string(options.skip) +
                                 " of its " + std::to_string(*file->size()) + " bytes"));
    const auto hints = hints_in_name(options.file);
    const auto points = frames::find_point_list(file->read_part(options.skip, kPointBytes));
    const auto known = size ? std::vector<LengthFit>{} : known_size_fits(bytes);
    const auto sized =
        size ? size_fits(bytes, size->first, size->second) : std::vector<LengthFit>{};
    const auto others = size ? std::vector<LengthFit>{} : proportion_fits(bytes);
    if (options.json) {
        std::printf(
            "{\"file\": %s, \"bytes\": %lld, \"name_says\": {\"format\": %s, \"width\": "
            "%s, \"height\": %s}, \"mono1c\": %s",
            json_string(options.file).c_str(), static_cast<long long>(bytes),
            hints.format ? json_string(hints.format->name).c_str() : "null",
            hints.size ? std::to_string(hints.size->first).c_str() : "null",
            hints.size ? std::to_string(hints.size->second).c_str() : "null",
            points ? "true" : "false");
        print_json_fits("this_size", sized);
        print_json_fits("known_sizes", known);
        print_json_fits("proportions", others);
        std::printf("}\n");
        return;
    }
    std::printf("%s: %lld bytes%s\n", shown(options.file).c_str(), static_cast<long long>(bytes),
                options.skip > 0 ? " after those skipped" : "");
    if (hints.format) std::printf("its name says format %s\n", hints.format->name);
    if (hints.size)
        std::printf("its name says size %lldx%lld\n", static_cast<long long>(hints.size->first),
                    static_cast<long long>(hints.size->second));
    if (points)
        std::printf("it begins as a Mono1C list of points within %lldx%lld\n",
                    static_cast<long long>(points->columns), static_cast<long long>(points->rows));
    print_fits("This size fits with", sized);
    print_fits("Known camera sizes that fit", known);
    print_fits("Common proportions that fit one frame", others);
    if (sized.empty() && known.empty() && others.empty() && !points)
        std::printf(
            "\nno %s fits whole frames: a header or chunk data, padded rows, an unusual "
            "size, or a file cut short\n",
            size ? "format of this size" : "known size");
    std::printf(
        "\nThe length alone decides nothing; this looks at the bytes:\n"
        "    imgcnv guess %s\n",
        shell_word(options.file).c_str());
}

}  // namespace

void add_info(CLI::App& app) {
    auto* command =
        app.add_subcommand("info", "List the formats and sizes that fit the length of a raw dump");
    auto options = std::make_shared<DumpOptions>();
    add_dump_options(*command, *options);
    command->callback([options] { info(*options); });
}

}  // namespace tool
