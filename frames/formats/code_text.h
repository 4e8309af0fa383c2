#pragma once

#include "support/text.h"

#include <cstdint>

namespace frames {

/// "0x010C002B"
inline void write_code(std::uint32_t code, Text& text) {
    char digits[] = "0x00000000";
    for (int i = 9; i > 1; --i, code >>= 4) digits[i] = "0123456789ABCDEF"[code & 15];
    text << digits;
}

}  // namespace frames
