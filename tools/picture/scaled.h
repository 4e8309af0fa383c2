#pragma once

#include "picture/picture.h"

#include <array>
#include <vector>

namespace tool {

/// An RGB picture with its own memory.
struct RgbPicture {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> pixels;

    RgbPicture() = default;
    RgbPicture(std::int64_t width_, std::int64_t height_, std::uint8_t grey = 0)
        : width(width_),
          height(height_),
          pixels(static_cast<std::size_t>(width_ * height_ * 3), grey) {}

    std::uint8_t* at(std::int64_t x, std::int64_t y) { return &pixels[index(x, y)]; }
    const std::uint8_t* at(std::int64_t x, std::int64_t y) const { return &pixels[index(x, y)]; }

  private:
    std::size_t index(std::int64_t x, std::int64_t y) const {
        return static_cast<std::size_t>((y * width + x) * 3);
    }
};

/// A Mono8 or RGB24 picture at another size: each pixel is the mean of those it covers, at least
/// one.
RgbPicture scaled(const Picture& picture, std::int64_t width, std::int64_t height);

/// Largest size of the picture's proportions inside a box; never larger than the picture.
std::array<std::int64_t, 2> fitted(std::int64_t width, std::int64_t height, std::int64_t box_width,
                                   std::int64_t box_height);

}  // namespace tool
