#include "guess/point_list.h"

#include <algorithm>

namespace frames {

std::optional<PointList> find_point_list(std::span<const std::uint8_t> bytes) {
    PointList list;
    std::uint32_t last = 0;
    std::size_t at = 0, points = 0;
    for (; at + 4 <= bytes.size(); at += 4, ++points) {
        const auto* point = &bytes[at];
        const std::uint32_t place =
            static_cast<std::uint32_t>(point[1]) << 16 | point[2] << 8 | point[3];
        if (place == 0 && point[0] == 0) {
            at += 4;
            break;
        }
        const std::int64_t row = place >> 12, column = place & 0xFFF;
        if (row < 1 || column < 1 || place <= last) return std::nullopt;
        last = place;
        list.rows = std::max(list.rows, row);
        list.columns = std::max(list.columns, column);
    }
    list.bytes = static_cast<std::int64_t>(at);
    // A handful of numbers in order proves nothing.
    if (points < 8) return std::nullopt;
    return list;
}

}  // namespace frames
