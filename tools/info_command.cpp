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
#include <optional>

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

struct Findings {
    std::int64_t bytes = 0;
    NameHints hints;
    std::optional<frames::PointList> points;
    std::vector<LengthFit> of_given_size, of_known_sizes, of_proportions;
};

Findings look_at(const DumpOptions& options) {
    const auto size = requested_size(options.size);
    const auto file = seekable(options.file);
    Findings found;
    found.bytes = *file->size() - options.skip;
    if (*file->size() == 0) throw Failure(file->name() + ": the file is empty");
    if (found.bytes <= 0)
        throw Failure(file->name() + ": nothing is left after the first " +
                      std::to_string(options.skip) + " of its " + std::to_string(*file->size()) +
                      " bytes");
    found.hints = hints_in_name(options.file);
    found.points = frames::find_point_list(file->read_part(options.skip, kPointBytes));
    if (size) {
        found.of_given_size = size_fits(found.bytes, size->first, size->second);
    } else {
        found.of_known_sizes = known_size_fits(found.bytes);
        found.of_proportions = proportion_fits(found.bytes);
    }
    return found;
}

void print_json(const std::string& file, const Findings& found) {
    const auto& format = found.hints.format;
    const auto& size = found.hints.size;
    std::printf(
        "{\"file\": %s, \"bytes\": %lld, \"name_says\": {\"format\": %s, \"width\": "
        "%s, \"height\": %s}, \"mono1c\": %s",
        json_string(file).c_str(), static_cast<long long>(found.bytes),
        format ? json_string(format->name).c_str() : "null",
        size ? std::to_string(size->first).c_str() : "null",
        size ? std::to_string(size->second).c_str() : "null", found.points ? "true" : "false");
    print_json_fits("this_size", found.of_given_size);
    print_json_fits("known_sizes", found.of_known_sizes);
    print_json_fits("proportions", found.of_proportions);
    std::printf("}\n");
}

void print_text(const DumpOptions& options, const Findings& found) {
    const auto& format = found.hints.format;
    const auto& size = found.hints.size;
    std::printf("%s: %s%s\n", shown(options.file).c_str(), counted(found.bytes, "byte").c_str(),
                options.skip > 0 ? " after those skipped" : "");
    if (format) std::printf("its name says format %s\n", format->name);
    if (size)
        std::printf("its name says size %lldx%lld\n", static_cast<long long>(size->first),
                    static_cast<long long>(size->second));
    if (found.points)
        std::printf("it begins as a Mono1C list of points within %lldx%lld\n",
                    static_cast<long long>(found.points->columns),
                    static_cast<long long>(found.points->rows));
    print_fits("This size fits with", found.of_given_size);
    print_fits("Known camera sizes that fit", found.of_known_sizes);
    print_fits("Common proportions that fit one frame", found.of_proportions);
    const bool fits = !found.of_given_size.empty() || !found.of_known_sizes.empty() ||
                      !found.of_proportions.empty();
    if (!fits && !found.points)
        std::printf(
            "\nno %s fits whole frames: a header or chunk data, padded rows, an unusual "
            "size, or a file cut short\n",
            options.size ? "format of this size" : "known size");
    std::printf(
        "\nThe length alone decides nothing; this looks at the bytes:\n"
        "    imgcnv guess %s\n",
        shell_word(options.file).c_str());
}

void info(const DumpOptions& options) {
    const auto found = look_at(options);
    options.json ? print_json(options.file, found) : print_text(options, found);
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
