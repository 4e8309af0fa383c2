#include "convert/output_plan.h"

#include "errors.h"

#include <filesystem>
#include <map>
#include <regex>

namespace tool {
namespace {

namespace fs = std::filesystem;

const std::regex kNumberField("%0?([0-9]?)d");

bool is_same(const std::string& output, const std::string& input) {
    std::error_code ignored;
    return fs::equivalent(output, input, ignored);
}

}  // namespace

OutputPlan::OutputPlan(const ConvertOptions& options, std::optional<std::int64_t> frames)
    : options_(options) {
    const auto& output = options.output;
    const bool several =
        frames ? *frames > 1 : options.frames.several() || options.inputs.size() > 1;

    const auto ending = fs::path(output).extension().string();
    auto kind = file_kind_named(options.output_format);
    if (!options.output_format.empty()) {
        if (!kind)
            throw UsageError("--output-format " + options.output_format +
                             ": expected png, jpg, tiff, bmp, pnm, npy or raw");
        ending_ = "." + options.output_format;
    }

    const bool to_folder =
        !output.empty() && output != "-" && (output.ends_with('/') || fs::is_directory(output));
    if (to_folder) {
        folder_ = output;
    } else if (output == "-") {
        single_ = output;
    } else if (!output.empty()) {
        if (!kind && !ending.empty()) kind = file_kind_named(ending);
        if (!kind)
            throw UsageError("-o " + output + ": the ending says no kind of file\n  expected " +
                             std::string(kEndings) +
                             ", a folder ending with /, or --output-format");
        if (output.find('%') != std::string::npos)
            check_pattern(output);
        else
            single_ = output;
    } else {
        for (const auto& input : options.inputs)
            if (input == "-") throw UsageError("standard input has no name: give -o OUT");
    }
    kind_ = kind.value_or(FileKind::Png);

    if (single_ && several && !can_follow(kind_))
        throw UsageError(
            "several pictures do not go into one file of this kind\n  what to do: -o "
            "name_%04d.png, -o folder/, or raw or PNM");
    check_names();
    if (folder_) {
        std::error_code error;
        fs::create_directories(*folder_, error);
        if (error) throw Failure("cannot create " + *folder_ + ": " + error.message());
    }
}

void OutputPlan::check_pattern(const std::string& output) {
    const auto fields = std::distance(
        std::sregex_iterator(output.begin(), output.end(), kNumberField), std::sregex_iterator());
    const auto percents = std::count(output.begin(), output.end(), '%');
    if (fields != 1 || percents != 1)
        throw UsageError("-o " + output +
                         ": expected one number field such as %04d, and no other "
                         "% sign");
    pattern_ = output;
}

void OutputPlan::check_names() const {
    std::map<std::string, std::string> taken;
    for (std::size_t i = 0; i < options_.inputs.size(); ++i) {
        const auto& input = options_.inputs[i];
        const auto path = single_ ? *single_ : path_for(i, options_.frames.first, 0);
        if (input != "-" && path != "-" && is_same(path, input))
            throw UsageError(input + " would be replaced by its own picture: give another -o");
        if (single_ || pattern_) continue;
        const auto [other, fresh] = taken.emplace(path, input);
        if (!fresh)
            throw UsageError(input + " and " + other->second + " would both become " + path +
                             "\n  what to do: -o name_%04d.png");
    }
}

std::string OutputPlan::folder_path(std::size_t input, std::int64_t frame) const {
    const auto& name = options_.inputs[input];
    const fs::path source = name == "-" ? "stdin" : name;
    auto file = source.stem().string();
    if (options_.frames.several()) {
        auto digits = std::to_string(frame);
        if (digits.size() < 4) digits.insert(0, 4 - digits.size(), '0');
        file += "_" + digits;
    }
    return ((folder_ ? fs::path(*folder_) : source.parent_path()) / (file + ending_)).string();
}

std::string OutputPlan::path_for(std::size_t input, std::int64_t frame,
                                 std::int64_t sequence) const {
    if (single_) return *single_;
    if (!pattern_) return folder_path(input, frame);
    std::smatch field;
    std::regex_search(*pattern_, field, kNumberField);
    auto digits = std::to_string(options_.inputs.size() == 1 ? frame : sequence);
    const std::size_t width = field[1].length() != 0 ? std::stoul(field[1]) : 0;
    if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
    return field.prefix().str() + digits + field.suffix().str();
}

}  // namespace tool
