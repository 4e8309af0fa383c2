// Grey from colour, as every plain definition computes it.
#pragma once

#include <cstdint>

namespace imgcnv {

// ITU-R BT.601 weights in double precision, added in this order and truncated:
// (128, 128, 128) gives 127, because the sum falls just below the integer.
inline uint8_t luma(int red, int green, int blue) {
    return static_cast<uint8_t>(static_cast<int>((0.299 * red + 0.587 * green) + 0.114 * blue));
}

}  // namespace imgcnv
