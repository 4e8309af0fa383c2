#pragma once

#include "formats/format.h"
#include "support/text.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace frames {

struct FoundFormat {
    const Format* format = nullptr;
    std::uint32_t flags = 0;  ///< IMGCNV_FRAME_... that the name says
};

std::span<const imgcnv_foreign_format> foreign_formats();

/// The format with this name or code; without one, the text says what the name means elsewhere or
/// which names are nearest.
FoundFormat find_format(std::string_view name, Text& text);

/// The text for a code that is not in the table.
void explain_code(std::uint32_t code, Text& text);

}  // namespace frames
