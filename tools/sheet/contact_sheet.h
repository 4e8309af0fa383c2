#pragma once

#include "picture/scaled.h"

#include <string>
#include <vector>

namespace tool {

struct SheetCell {
    RgbPicture picture;
    std::string title;   ///< ASCII; what does not fit is cut off
    std::string detail;  ///< a second line, less bright
};

/// The pictures in columns of equal cells, each with its two lines of text below it.
RgbPicture contact_sheet(const std::vector<SheetCell>& cells, std::int64_t columns);

/// Writes text in a fixed font of 6x13 pixels, cut off at the picture's edges.
void draw_text(RgbPicture& picture, std::int64_t left, std::int64_t top, const std::string& text,
               std::uint8_t grey);

}  // namespace tool
