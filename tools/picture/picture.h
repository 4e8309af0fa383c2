#pragma once

#include <cstddef>
#include <cstdint>

namespace tool {

/// What one pixel of a picture is: 1, 3 or 4 samples (grey, colour, colour and alpha) of 8 bits or
/// of 16 in the order of this machine's bytes.
struct PixelKind {
    int channels = 1;
    int sample_bytes = 1;
    bool blue_first = false;  ///< BGR and BGRA

    constexpr int bytes() const { return channels * sample_bytes; }
    constexpr bool is_color() const { return channels > 1; }
    constexpr bool has_alpha() const { return channels == 4; }
    constexpr bool is_deep() const { return sample_bytes == 2; }
    bool operator==(const PixelKind&) const = default;
};

constexpr PixelKind kMono8{1, 1, false}, kRgb24{3, 1, false}, kBgr24{3, 1, true},
    kRgba32{4, 1, false}, kBgra32{4, 1, true}, kMono16{1, 2, false}, kRgb48{3, 2, false},
    kBgr48{3, 2, true};

/// Converted pixels, rows without gaps, in memory of somebody else.
struct Picture {
    std::int64_t width = 0;
    std::int64_t height = 0;
    PixelKind kind;
    std::uint8_t* pixels = nullptr;

    std::int64_t row_bytes() const { return width * kind.bytes(); }
    std::int64_t bytes() const { return row_bytes() * height; }
    std::uint8_t* row(std::int64_t y) const { return pixels + y * row_bytes(); }
};

}  // namespace tool
