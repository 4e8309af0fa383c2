#include "pipeline/store.h"

#include <algorithm>
#include <cstring>

namespace frames {
namespace {

template <int kBytes>
struct Pixel {
    std::uint8_t bytes[kBytes];
};

/// Exchanges rows and columns in square tiles, so that the lines that a tile touches stay in the
/// first-level cache.
template <int kBytes>
void transpose(const std::uint8_t* from, std::int64_t from_stride, std::int64_t rows,
               std::int64_t columns, std::uint8_t* to) {
    constexpr std::int64_t kTile = 32;
    for (std::int64_t y0 = 0; y0 < rows; y0 += kTile)
        for (std::int64_t x0 = 0; x0 < columns; x0 += kTile)
            for (auto x = x0; x < std::min(x0 + kTile, columns); ++x)
                for (auto y = y0; y < std::min(y0 + kTile, rows); ++y)
                    std::memcpy(to + (x * rows + y) * kBytes, from + y * from_stride + x * kBytes,
                                kBytes);
}

template <int kBytes>
void reverse(const std::uint8_t* from, std::int64_t pixels, std::uint8_t* to) {
    for (std::int64_t x = 0; x < pixels; ++x)
        std::memcpy(to + (pixels - 1 - x) * kBytes, from + x * kBytes, kBytes);
}

/// Calls a template with the bytes of a pixel as a constant.
template <class Call>
void with_pixel_bytes(int bytes, Call&& call) {
    switch (bytes) {
        case 1:
            return call.template operator()<1>();
        case 2:
            return call.template operator()<2>();
        case 3:
            return call.template operator()<3>();
        case 4:
            return call.template operator()<4>();
        default:
            return call.template operator()<6>();
    }
}

}  // namespace

void store(const Wish& wish, const Rectangle& made, const Rectangle& keep,
           const std::uint8_t* pixels, std::uint8_t* target, std::uint8_t* scratch) {
    const auto bytes = wish.pixel_bytes();
    auto from_stride = made.columns() * bytes;
    const auto* from = pixels + (keep.first_row - made.first_row) * from_stride +
                       (keep.first_column - made.first_column) * bytes;
    auto rows = keep.rows();
    auto columns = keep.columns();
    auto row = keep.first_row;
    auto column = keep.first_column;
    if (wish.transpose) {
        with_pixel_bytes(bytes, [&]<int kBytes>() {
            transpose<kBytes>(from, from_stride, rows, columns, scratch);
        });
        std::swap(rows, columns);
        std::swap(row, column);
        from = scratch;
        from_stride = columns * bytes;
    }
    if (wish.flip_horizontal) column = wish.width - column - columns;
    for (std::int64_t y = 0; y < rows; ++y, from += from_stride) {
        const auto to_row = wish.flip_vertical ? wish.height - 1 - (row + y) : row + y;
        auto* to = target + to_row * wish.stride + column * bytes;
        if (wish.flip_horizontal)
            with_pixel_bytes(bytes, [&]<int kBytes>() { reverse<kBytes>(from, columns, to); });
        else
            std::memcpy(to, from, static_cast<std::size_t>(columns * bytes));
    }
}

}  // namespace frames
