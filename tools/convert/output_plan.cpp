#include "convert/output_plan.h"

#include "cli/messages.h"
#include "errors.h"

#include <sys/stat.h>
#include <filesystem>
#include <unordered_map>

namespace tool {
namespace {

namespace fs = std::filesystem;

/// What all names of a regular file have in common, links or not.
std::optional<std::pair<dev_t, ino_t>> identity(const std::string& path) {
    struct stat status {};
    if (path == "-" || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

void make_folders(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw Failure("cannot create " + shown(folder.string()) + ": " + error.message());
}

std::string padded(std::int64_t number, std::size_t digits) {
    auto text = std::to_string(number);
    if (text.size() < digits) text.insert(0, digits - text.size(), '0');
    return text;
}

}  // namespace

OutputPlan::OutputPlan(const ConvertOptions& options, const std::vector<Input>& inputs,
                       std::optional<std::int64_t> frames)
    : options_(options), inputs_(inputs) {
    if (!options.output_format.empty()) {
        kind_ = *file_kind_named(options.output_format);
        ending_ = "." + options.output_format;
    }
    for (const auto& input : inputs)
        if (const auto file = identity(input.path)) input_files_.insert(*file);
    take_output();
    const bool several = frames ? *frames > 1 : options.frames.several() || inputs.size() > 1;
    if (single_ && several && !can_follow(kind_))
        throw UsageError(
            "several pictures do not go into one file of this kind\n  what to do: -o "
            "name_%04d.png, -o folder/, or raw or PNM");
    if (single_ && (several || *single_ == "-") && options.skip_existing)
        throw UsageError(
            "--skip-existing needs a file for each picture: -o folder/ or -o name_%04d.png");
    check_names();
    if (folder_) make_folders(*folder_);
}

void OutputPlan::take_output() {
    const auto& output = options_.output;
    if (output.empty()) {
        for (const auto& input : inputs_)
            if (input.path == "-") throw UsageError("standard input has no name: give -o OUT");
        return;
    }
    if (output == "-") {
        single_ = output;
        return;
    }
    std::error_code not_there;  // or a circle of links, which OutputFile reports
    if (output.ends_with('/') || fs::is_directory(output, not_there)) {
        folder_ = output;
        return;
    }
    if (options_.output_format.empty()) {
        const auto ending = fs::path(output).extension().string();
        const auto kind = ending.empty() ? std::nullopt : file_kind_named(ending);
        if (!kind)
            throw UsageError("-o " + output + ": the ending says no kind of file\n  expected " +
                             std::string(kEndings) +
                             ", a folder ending with /, or --output-format");
        kind_ = *kind;
    }
    auto pattern = parsed_pattern(output);
    if (pattern.fields == 0)
        single_ = std::move(pattern.before);
    else
        pattern_ = std::move(pattern);
}

/// One %d or %04d, and %% wherever a percent sign is meant.
OutputPlan::Pattern OutputPlan::parsed_pattern(const std::string& output) {
    Pattern pattern;
    for (std::size_t i = 0; i < output.size(); ++i) {
        auto& text = pattern.fields == 0 ? pattern.before : pattern.after;
        if (output[i] != '%' || output.compare(i, 2, "%%") == 0) {
            i += output[i] == '%' ? 1 : 0;
            text += output[i];
            continue;
        }
        const auto end = output.find_first_not_of("0123456789", i + 1);
        const auto digits = output.substr(i + 1, end == std::string::npos ? end : end - i - 1);
        if (end == std::string::npos || output[end] != 'd' || digits.size() > 2 ||
            ++pattern.fields > 1)
            throw UsageError("-o " + output +
                             ": expected one number field such as %04d; %% is a percent sign");
        pattern.digits = digits.empty() ? 0 : std::stoul(digits);
        i = end;
    }
    return pattern;
}

void OutputPlan::check_names() const {
    std::unordered_map<std::string, std::size_t> taken;
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        FrameJob job;
        job.input = i;
        job.frame = options_.frames.first;
        const auto& input = inputs_[i].path;
        const auto path = path_for(job);
        if (is_input(path))
            throw UsageError(shown(path) + " would be replaced by a picture: give another -o");
        if (single_ || pattern_) continue;
        const auto [other, fresh] = taken.emplace(path, i);
        if (!fresh)
            throw UsageError(shown(input) + " and " + shown(inputs_[other->second].path) +
                             " would both become " + shown(path) +
                             "\n  what to do: -o name_%04d.png");
    }
}

bool OutputPlan::is_input(const std::string& path) const {
    const auto file = identity(path);
    return file && input_files_.contains(*file);
}

std::string OutputPlan::folder_path(const FrameJob& job) const {
    const auto& input = inputs_[job.input];
    const auto place = folder_ ? fs::path(*folder_) / input.relative_path : fs::path(input.path);
    auto file = place.stem().string();
    if (options_.frames.several()) file += "_" + padded(job.frame, 4);
    return (place.parent_path() / (file + ending_)).string();
}

std::string OutputPlan::path_for(const FrameJob& job) const {
    if (single_) return *single_;
    if (!pattern_) return folder_path(job);
    return pattern_->before + padded(job.number, pattern_->digits) + pattern_->after;
}

void OutputPlan::make_folders_for(const FrameJob& job, const std::string& path) const {
    if (folder_ && inputs_[job.input].from_folder) make_folders(fs::path(path).parent_path());
}

}  // namespace tool
