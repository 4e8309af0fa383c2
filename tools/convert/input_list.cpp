#include "convert/input_list.h"

#include "cli/messages.h"
#include "errors.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNotFrames[] = {
    ".png", ".jpg", ".jpeg", ".tif", ".tiff", ".bmp",  ".gif", ".webp", ".pnm", ".pgm",
    ".ppm", ".npy", ".npz",  ".txt", ".md",   ".json", ".xml", ".yaml", ".yml", ".toml",
    ".csv", ".log", ".html", ".pdf", ".sh",   ".py",   ".zip", ".gz",   ".xz",  ".zst",
    ".tar", ".7z",  ".mp4",  ".avi", ".mkv",  ".ini",  ".conf"};

bool may_be_frames(const fs::path& path) {
    auto ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return std::find(std::begin(kNotFrames), std::end(kNotFrames), ending) == std::end(kNotFrames);
}

bool is_hidden(const fs::path& path) { return path.filename().string().starts_with('.'); }

void add_folder(const std::string& folder, std::vector<Input>& inputs) {
    std::vector<std::string> found;
    std::size_t left_out = 0;
    std::error_code error;
    fs::recursive_directory_iterator at(folder, error);
    for (const fs::recursive_directory_iterator end; !error && at != end; at.increment(error)) {
        const bool hidden = is_hidden(at->path());
        if (hidden && at->is_directory()) at.disable_recursion_pending();
        if (hidden || !at->is_regular_file()) continue;
        if (may_be_frames(at->path()))
            found.push_back(at->path().string());
        else
            ++left_out;
    }
    if (error) throw Failure("cannot read " + shown(folder) + ": " + error.message());
    if (found.empty()) throw Failure(shown(folder) + ": no files of raw frames in this folder");
    std::sort(found.begin(), found.end());
    for (auto& path : found) {
        auto relative = fs::path(path).lexically_relative(folder).string();
        inputs.push_back({std::move(path), std::move(relative), true});
    }
    if (left_out > 0)
        say_note(shown(folder) + ": " + std::to_string(left_out) +
                 " files are left out, their endings are not those of raw frames");
}

}  // namespace

std::vector<Input> list_inputs(const std::vector<std::string>& given) {
    std::vector<Input> inputs;
    for (const auto& path : given) {
        std::error_code ignored;
        if (path != "-" && fs::is_directory(path, ignored))
            add_folder(path, inputs);
        else
            inputs.push_back(
                {path, path == "-" ? "stdin" : fs::path(path).filename().string(), false});
    }
    return inputs;
}

}  // namespace tool
