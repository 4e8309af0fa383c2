#pragma once

#include "support/text.h"

#include <string_view>

namespace frames {

/// True when a name or number is a conversion of OpenCV, such as COLOR_BayerRG2BGR or 48: the text
/// then says which formats it takes. `plain` is the name `given` as a PlainName.
bool explain_opencv(std::string_view given, std::string_view plain, Text& text);

}  // namespace frames
