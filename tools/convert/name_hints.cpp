#include "convert/name_hints.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>
#include <vector>

namespace tool {
namespace {

/// A number alone, such as the 8 of frame_8.raw, is not taken for a format's code.
void find(const std::string& name, NameHints& hints) {
    const bool has_letter =
        std::any_of(name.begin(), name.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
    std::uint32_t code = 0, flags = 0;
    if (!has_letter || imgcnv_find_format(name.c_str(), &code, &flags, nullptr, 0) != IMGCNV_OK)
        return;
    Format format{};
    format.struct_size = sizeof format;
    if (imgcnv_format_of_code(code, &format) != IMGCNV_OK) return;
    hints.format = format;
    hints.flags = flags;
}

}  // namespace

std::optional<std::pair<std::int64_t, std::int64_t>> parse_size(std::string_view text) {
    std::int64_t width = 0;
    std::int64_t height = 0;
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, width);
    if (first.ec != std::errc() || first.ptr == end || (*first.ptr != 'x' && *first.ptr != 'X'))
        return std::nullopt;
    const auto second = std::from_chars(first.ptr + 1, end, height);
    if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
    return std::pair{width, height};
}

NameHints hints_in_name(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    path = path.substr(0, path.rfind('.'));
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const auto end = std::min(path.find_first_of("_-. +,()[]"), path.size());
        if (end > 0) parts.push_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    NameHints hints;
    for (const auto part : parts)
        if (const auto size = parse_size(part)) hints.size = size;
    // Names may contain underscores themselves: the longest run of parts that is one wins.
    for (std::size_t length = 4; length > 0 && !hints.format; --length)
        for (std::size_t at = 0; at + length <= parts.size() && !hints.format; ++at) {
            std::string name;
            for (std::size_t i = at; i < at + length; ++i) name += parts[i];
            find(name, hints);
        }
    return hints;
}

}  // namespace tool
