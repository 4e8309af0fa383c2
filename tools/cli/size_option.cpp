#include "cli/size_option.h"

#include "convert/name_hints.h"
#include "errors.h"

#include <limits>

namespace tool {

std::optional<std::pair<std::int64_t, std::int64_t>> requested_size(
    const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    const auto size = parse_size(*text);
    constexpr std::int64_t kMostPixels = std::numeric_limits<std::int32_t>::max();
    if (!size || size->first < 1 || size->second < 1 || size->first > kMostPixels / size->second)
        throw UsageError("--size " + *text +
                         ": expected WIDTHxHEIGHT of at least 1x1 and at most " +
                         std::to_string(kMostPixels) + " pixels, for example 1920x1080");
    return size;
}

}  // namespace tool
