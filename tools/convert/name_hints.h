#pragma once

#include "engine/frame.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace tool {

struct NameHints {
    std::optional<std::pair<std::int64_t, std::int64_t>> size;
    std::optional<Format> format;
    std::uint32_t flags = 0;
};

/// Size and format as people write them into file names: cap_1920x1080_BayerRG8.raw
NameHints hints_in_name(std::string_view path);

/// "640x480"; absent when it is not that.
std::optional<std::pair<std::int64_t, std::int64_t>> parse_size(std::string_view text);

}  // namespace tool
