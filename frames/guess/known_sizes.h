#pragma once

#include <span>
#include <utility>

namespace frames {

/// Sizes that cameras and displays commonly have.
std::span<const std::pair<int, int>> known_sizes();

}  // namespace frames
