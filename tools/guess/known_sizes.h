#pragma once

#include <span>
#include <utility>

namespace tool {

/// Sizes that cameras and displays commonly have.
std::span<const std::pair<int, int>> knownSizes();

}  // namespace tool
