#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tool {

/// The value of a --size option that may be left out (empty). Throws UsageError.
std::optional<std::pair<std::int64_t, std::int64_t>> requested_size(const std::string& text);

}  // namespace tool
