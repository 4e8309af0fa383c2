#include "convert/convert_options.h"
#include "errors.h"

#include <charconv>
#include <string_view>

namespace tool {
namespace {

/// More frames than any file has, few enough for sums and products with them.
constexpr std::int64_t kMostFrames = std::int64_t{1} << 40;

std::optional<std::int64_t> whole_number(std::string_view text) {
    std::int64_t value = 0;
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    const bool fits = result.ec == std::errc() && result.ptr == end && value >= 0;
    return fits && value < kMostFrames ? std::optional(value) : std::nullopt;
}

}  // namespace

FrameRange parse_frames(const std::string& text) {
    if (text == "all") return {true, 0, std::nullopt};
    const auto dash = text.find('-');
    const auto first = whole_number(text.substr(0, dash));
    const auto last = dash == std::string::npos ? first : whole_number(text.substr(dash + 1));
    if (!first || !last || *last < *first)
        throw UsageError("--frames " + text +
                         ": expected all, one number, or first-last; frames count from 0 to " +
                         std::to_string(kMostFrames - 1));
    return {true, *first, last};
}

Part parse_part(const std::string& text) {
    const auto slash = text.find('/');
    const auto index = whole_number(text.substr(0, slash));
    const auto count =
        slash == std::string::npos ? std::nullopt : whole_number(text.substr(slash + 1));
    if (!index || !count || *index < 1 || *index > *count)
        throw UsageError("--part " + text + ": expected I/N with I from 1 to N, for example 2/8");
    return {*index - 1, *count};
}

}  // namespace tool
