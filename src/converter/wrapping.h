// 32-bit arithmetic that wraps: sizes are defined so, and signed overflow would
// be undefined.
#pragma once

#include <cstdint>

namespace imgcnv {

constexpr int wrapping_add(int a, int b) {
    return static_cast<int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int wrapping_sub(int a, int b) {
    return static_cast<int>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int wrapping_mul(int a, int b) {
    return static_cast<int>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace imgcnv
