#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tool {

/// The value of a --size option that may be left out. Throws UsageError.
std::optional<std::pair<std::int64_t, std::int64_t>> requested_size(
    const std::optional<std::string>& text);

}  // namespace tool
