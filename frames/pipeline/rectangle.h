#pragma once

#include <cstdint>

namespace frames {

/// Rows first_row to before last_row, columns first_column to before last_column. Where it reaches
/// beyond a frame, it means the mirrored samples there.
struct Rectangle {
    std::int64_t first_row = 0;
    std::int64_t last_row = 0;
    std::int64_t first_column = 0;
    std::int64_t last_column = 0;

    std::int64_t rows() const { return last_row - first_row; }
    std::int64_t columns() const { return last_column - first_column; }
    bool empty() const { return rows() <= 0 || columns() <= 0; }
};

/// A position beyond 0 or size - 1 mirrored at these, so that the colours of a mosaic stay in
/// phase.
inline std::int64_t mirrored(std::int64_t position, std::int64_t size) {
    if (position >= 0 && position < size) return position;
    if (size == 1) return 0;
    const auto period = 2 * (size - 1);
    const auto inside = ((position % period) + period) % period;
    return inside < size ? inside : period - inside;
}

}  // namespace frames
