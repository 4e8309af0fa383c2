#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// RGB at 16 bits per channel; an 8-bit value v is v * 257, so that its top bits are v again.
struct Picture16 {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint16_t> samples;

    const std::uint16_t* at(std::int64_t x, std::int64_t y) const {
        return &samples[static_cast<std::size_t>((y * width + x) * 3)];
    }
};

/// Any PNG: grey becomes RGB, alpha is dropped. "-" is standard input. Throws Failure.
Picture16 read_png(const std::string& path);

}  // namespace tool
