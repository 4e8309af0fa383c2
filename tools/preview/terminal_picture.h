#pragma once

#include "picture/scaled.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// How a picture is drawn in a terminal.
enum class Style { Letters, Blocks, Kitty, Sixel };

std::vector<std::string> style_names();
Style style_named(const std::string& name);

constexpr std::int64_t kAnyLines = 1 << 20;

/// What standard output can show, and how much of it.
struct Terminal {
    Style best = Style::Letters;  ///< blocks take colours and UTF-8
    std::int64_t columns = 80;
    std::int64_t lines = kAnyLines;
};
Terminal this_terminal();

/// The picture in at most so many columns and lines of text, two pixels to a line.
///
///   letters  from dark to bright, plain ASCII
///   blocks   upper half blocks in 24-bit colour
///   kitty    pixels, by the graphics protocol of that terminal, which others have, too
///   sixel    pixels of 216 colours, by the protocol of the VT340
std::string drawn(const Picture& picture, Style style, std::int64_t columns, std::int64_t lines);

}  // namespace tool
