// The bytes that a conversion may read and write, for any geometry a caller may give: rows that
// overlap (negative padding), sizes that do not match the width, partial groups.
#pragma once

#include <algorithm>
#include <span>

#include "tests/support/formats.h"

namespace imgcnv::fuzzing {

using testing::PixelFormat;
using testing::Record;
using testing::SourceFormat;

// Offsets from the pointer that the caller gives; begin may be negative.
struct Extent {
    ptrdiff_t begin = 0;
    ptrdiff_t end = 0;
    size_t size() const { return static_cast<size_t>(end - begin); }
};

// Formats know five destinations; all other codes are alike.
inline PixelFormat known_or_none(PixelFormat destination) {
    const auto end = std::end(testing::kDestinations);
    return std::find(std::begin(testing::kDestinations), end, destination) != end
               ? destination
               : testing::kNoDestination;
}

// Pixels a row of a Bayer frame of two or more rows.
inline int bayer_width(const SourceFormat& s, const Record& r) {
    const int bytes = r.dataSize / r.height - r.rowPadding;
    const int width = s.group == 2 ? bytes / 3 * 2 : s.group_bytes == 2 ? bytes >> 1 : bytes;
    return width < 2 ? 0 : width;
}

inline Extent read_extent(const SourceFormat& s, const Record& r, PixelFormat destination) {
    if (testing::is_bayer(s)) {
        const int width = r.height == 1 ? r.width : bayer_width(s, r);
        const ptrdiff_t row = s.group == 2 ? width / 2 * 3 + width % 2 : width * s.group_bytes;
        if (row == 0) return {};
        return {0, static_cast<ptrdiff_t>(r.dataSize / r.height) * (r.height - 1) + row};
    }
    const bool whole_buffer = testing::is_stream(s) || s.code == IMGCNV_PIXEL_MONO1C ||
                              (testing::is_triples(s) &&
                               (destination == s.code || destination == testing::kNoDestination));
    if (whole_buffer) {
        return {0, static_cast<ptrdiff_t>(testing::bytes_read(s, r, destination))};
    }
    const ptrdiff_t row = testing::row_bytes(s, r.width);
    if (row == 0) return {};
    const ptrdiff_t last_row = (row + r.rowPadding) * (r.height - 1);
    return {std::min<ptrdiff_t>(0, last_row), std::max<ptrdiff_t>(0, last_row) + row};
}

inline size_t written_size(const SourceFormat& s, Record r, PixelFormat destination) {
    if (testing::is_bayer(s) && r.height > 1) r.width = bayer_width(s, r);
    return testing::bytes_written(s, r, destination);
}

// What IMGCNV_open reports; `preset` where it reports nothing.
inline int reported_size(const SourceFormat& s, const Record& r, PixelFormat destination,
                         int preset) {
    if (testing::has_no_size(s)) return preset;
    const uint32_t pixels_of_row = static_cast<uint32_t>(r.width);
    uint32_t rows = static_cast<uint32_t>(r.height);
    if (testing::is_bayer(s) && r.height != 1) rows += rows % 2;
    const uint32_t bytes = s.code == IMGCNV_PIXEL_MONO1C
                               ? 1
                               : static_cast<uint32_t>(testing::bytes_per_pixel(destination));
    return static_cast<int>(pixels_of_row * rows * bytes);
}

}  // namespace imgcnv::fuzzing
