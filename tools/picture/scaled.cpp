#include "picture/scaled.h"

#include <algorithm>

namespace tool {

RgbPicture scaled(const Picture& picture, std::int64_t width, std::int64_t height) {
    RgbPicture out(width, height);
    const auto step = picture.kind.channels;
    const int green = step == 1 ? 0 : 1, blue = step == 1 ? 0 : 2;
    for (std::int64_t y = 0; y < height; ++y) {
        const auto top = y * picture.height / height;
        const auto bottom = std::max(top + 1, (y + 1) * picture.height / height);
        for (std::int64_t x = 0; x < width; ++x) {
            const auto left = x * picture.width / width;
            const auto right = std::max(left + 1, (x + 1) * picture.width / width);
            std::int64_t sum[3]{};
            for (auto v = top; v < bottom; ++v) {
                const auto* pixel = picture.row(v) + left * step;
                for (auto u = left; u < right; ++u, pixel += step) {
                    sum[0] += pixel[0];
                    sum[1] += pixel[green];
                    sum[2] += pixel[blue];
                }
            }
            const auto count = (bottom - top) * (right - left);
            for (int c = 0; c < 3; ++c)
                out.at(x, y)[c] = static_cast<std::uint8_t>((sum[c] + count / 2) / count);
        }
    }
    return out;
}

std::array<std::int64_t, 2> fitted(std::int64_t width, std::int64_t height, std::int64_t box_width,
                                   std::int64_t box_height) {
    if (width <= box_width && height <= box_height) return {width, height};
    // Compared crosswise, so that nothing is lost to rounding.
    if (width * box_height >= height * box_width)
        return {box_width, std::max<std::int64_t>(1, height * box_width / width)};
    return {std::max<std::int64_t>(1, width * box_height / height), box_height};
}

}  // namespace tool
