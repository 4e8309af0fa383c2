#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace frames {

struct PointList {
    std::int64_t rows = 0, columns = 0;  ///< largest ones that occur
    std::int64_t bytes = 0;              ///< the end mark included
};

/// The bytes as a list of Mono1C points; absent when they are none: places must be counted from 1
/// and come in reading order, which no picture's bytes do by chance.
std::optional<PointList> find_point_list(std::span<const std::uint8_t> bytes);

}  // namespace frames
