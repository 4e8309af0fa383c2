#pragma once

#include "picture/scaled.h"

#include <string>

namespace tool {

/// The picture as lines of text: upper half blocks in 24-bit colour, two pixel rows a line.
std::string half_blocks(const RgbPicture& picture);

/// The same as letters from dark to bright, for terminals without colours.
std::string letters(const RgbPicture& picture);

}  // namespace tool
