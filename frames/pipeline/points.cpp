#include "pipeline/points.h"

#include <cstring>
#include <utility>

namespace frames {
namespace {

struct Point {
    int value;
    std::int64_t row;     ///< from 1
    std::int64_t column;  ///< from 1
};

Point point_at(const std::uint8_t* bytes) {
    return {bytes[0], bytes[1] << 4 | bytes[2] >> 4, (bytes[2] & 0x0F) << 8 | bytes[3]};
}

bool is_end(const std::uint8_t* bytes) { return (bytes[0] | bytes[1] | bytes[2] | bytes[3]) == 0; }

bool is_inside(const Geometry& frame, const Point& point) {
    return point.row >= 1 && point.row <= frame.height && point.column >= 1 &&
           point.column <= frame.width;
}

imgcnv_status check(const Geometry& frame, const std::uint8_t* list, std::size_t bytes,
                    Text& text) {
    std::size_t at = 0;
    for (; at + 4 <= bytes; at += 4) {
        if (is_end(list + at)) return IMGCNV_OK;
        const auto point = point_at(list + at);
        if (is_inside(frame, point)) continue;
        text << "point " << static_cast<std::int64_t>(at / 4) << " of the Mono1C list lies at row "
             << point.row << ", column " << point.column << ", expected rows 1 to " << frame.height
             << " and columns 1 to " << frame.width;
        text.line() << "the size is wrong, or the data is not a Mono1C list";
        return IMGCNV_BAD_DATA;
    }
    if (at == bytes) return IMGCNV_OK;
    text << "the Mono1C list has " << static_cast<std::int64_t>(bytes)
         << " bytes, expected a multiple of 4: 4 bytes per point";
    text.line() << "the data is cut short";
    return IMGCNV_BAD_SIZE;
}

/// A pixel of `value` at 8 bits per channel, or of words that hold it.
void fill_pixel(const Wish& wish, int value, std::uint8_t* pixel) {
    const auto word = static_cast<std::uint16_t>(wish.full_scale ? value * 257 : value);
    for (int i = 0; i < wish.channels; ++i) {
        if (wish.is_wide())
            std::memcpy(pixel + 2 * i, &word, 2);
        else if (i == 3)
            pixel[i] = 255;
        else
            pixel[i] = wish.curve.empty() ? static_cast<std::uint8_t>(value)
                                          : wish.curve[static_cast<std::size_t>(i * 256 + value)];
    }
}

void clear(const Wish& wish, std::uint8_t* target) {
    std::uint8_t black[8];
    fill_pixel(wish, 0, black);
    const auto bytes = wish.pixel_bytes();
    for (std::int64_t y = 0; y < wish.height; ++y)
        for (std::int64_t x = 0; x < wish.width; ++x)
            std::memcpy(target + y * wish.stride + x * bytes, black,
                        static_cast<std::size_t>(bytes));
}

}  // namespace

imgcnv_status draw_points(const Geometry& frame, const Wish& wish, const std::uint8_t* list,
                          std::size_t bytes, std::uint8_t* target, Text& text) {
    if (const auto status = check(frame, list, bytes, text); status != IMGCNV_OK) return status;
    clear(wish, target);
    for (std::size_t at = 0; at + 4 <= bytes && !is_end(list + at); at += 4) {
        const auto point = point_at(list + at);
        if (!is_inside(frame, point)) continue;  // another thread may have changed the list
        auto row = point.row - 1;
        auto column = point.column - 1;
        if (wish.transpose) std::swap(row, column);
        if (wish.flip_horizontal) column = wish.width - 1 - column;
        if (wish.flip_vertical) row = wish.height - 1 - row;
        fill_pixel(wish, point.value, target + row * wish.stride + column * wish.pixel_bytes());
    }
    return IMGCNV_OK;
}

}  // namespace frames
