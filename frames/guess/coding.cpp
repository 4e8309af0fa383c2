#include "guess/coding.h"

#include "geometry/frame_geometry.h"
#include "layouts/kernel_table.h"

#include <algorithm>

namespace frames {
namespace {

/// Streams begin at any bit, where the kernels begin at groups.
void unpack_stream(const std::uint8_t* bytes, std::int64_t from_bit, int depth, std::size_t count,
                   std::uint16_t* samples) {
    const auto mask = (1U << depth) - 1;
    auto bit = static_cast<std::size_t>(from_bit);
    for (std::size_t i = 0; i < count; ++i, bit += static_cast<std::size_t>(depth)) {
        const auto* at = bytes + bit / 8;
        const auto shift = bit % 8;
        unsigned value = at[0];
        if (shift + static_cast<unsigned>(depth) > 8) value |= unsigned{at[1]} << 8;
        if (shift + static_cast<unsigned>(depth) > 16) value |= unsigned{at[2]} << 16;
        samples[i] = static_cast<std::uint16_t>(value >> shift & mask);
    }
}

bool is_one_of_two(imgcnv_layout layout) {
    return layout == IMGCNV_LAYOUT_BGR || layout == IMGCNV_LAYOUT_BGRA;
}

/// Words and RGB words hold any depth up to 16.
bool holds_shallower(const Format& format) {
    return format.layout == IMGCNV_LAYOUT_WORDS || (is_rgb(format) && format.depth > 8);
}

bool same_samples(const Format& a, const Format& b) {
    auto layout = a.layout;
    if (b.layout == IMGCNV_LAYOUT_RGB && layout == IMGCNV_LAYOUT_BGR) layout = b.layout;
    if (b.layout == IMGCNV_LAYOUT_RGBA && layout == IMGCNV_LAYOUT_BGRA) layout = b.layout;
    if (layout != b.layout || a.bits_per_pixel != b.bits_per_pixel) return false;
    return a.depth == b.depth || holds_shallower(a);
}

/// U and V of a group stand between its lumas.
struct YuvPlaces {
    std::array<std::uint8_t, 4> luma;
    std::size_t lumas, u, v, bytes;
};
YuvPlaces yuv_places(int layout) {
    switch (layout) {
        case IMGCNV_LAYOUT_UYYVYY:
            return {{1, 2, 4, 5}, 4, 0, 3, 6};
        case IMGCNV_LAYOUT_UYVY:
            return {{1, 3}, 2, 0, 2, 4};
        case IMGCNV_LAYOUT_YUYV:
            return {{0, 2}, 2, 1, 3, 4};
        default:
            return {{1}, 1, 0, 2, 3};
    }
}

void split_yuv(const std::uint8_t* row, const std::uint8_t* end, int layout, RowSamples& samples) {
    const auto places = yuv_places(layout);
    for (; row + places.bytes <= end; row += places.bytes) {
        for (std::size_t i = 0; i < places.lumas; ++i)
            samples.planes[0].push_back(row[places.luma[i]]);
        samples.planes[1].push_back(row[places.u]);
        samples.planes[2].push_back(row[places.v]);
    }
}

}  // namespace

std::int64_t Coding::row_bits(std::int64_t width) const {
    return is_stream() ? width * format->depth : 8 * row_bytes(*format, width);
}

std::int64_t Coding::widest_row(std::int64_t bits) const {
    if (is_stream()) return bits / format->depth;
    const auto groups = bits / 8 / group_bytes();
    auto width = groups * group_pixels();
    if (format->layout == IMGCNV_LAYOUT_PACKED && row_bits(width + 1) <= bits) ++width;
    return width;
}

std::vector<Coding> codings(const Format* known) {
    std::vector<Coding> found;
    for (const auto& format : formats()) {
        if (is_points(format) || is_mosaic(format)) continue;
        if (is_one_of_two(static_cast<imgcnv_layout>(format.layout))) continue;
        const bool is_deepest =
            std::none_of(formats().begin(), formats().end(), [&](const Format& other) {
                return holds_shallower(format) && other.layout == format.layout &&
                       !is_mosaic(other) && other.bits_per_pixel == format.bits_per_pixel &&
                       other.depth > format.depth;
            });
        if (!is_deepest || (known != nullptr && !same_samples(*known, format))) continue;
        found.push_back({&format, false});
        const bool has_words = format.layout == IMGCNV_LAYOUT_WORDS ||
                               (format.layout == IMGCNV_LAYOUT_RGB && format.depth > 8);
        if (has_words) found.push_back({&format, true});
    }
    return found;
}

bool has_coding(const Format& format, const Coding& coding) {
    return same_samples(format, *coding.format);
}

void unpack_samples(const Coding& coding, const std::uint8_t* bytes, std::int64_t from_bit,
                    std::size_t count, std::uint16_t* samples) {
    if (coding.is_stream())
        unpack_stream(bytes, from_bit, coding.format->depth, count, samples);
    else
        layout_kernels(*coding.format, coding.big_endian)
            .to16(bytes + from_bit / 8,
                  sample_bytes(sample_layout(*coding.format, coding.big_endian), count), samples,
                  count);
}

void split_row(const Coding& coding, const std::uint8_t* bytes, std::int64_t from_bit,
               std::int64_t width, int dropped_bits, RowSamples& row) {
    for (auto& plane : row.planes) plane.clear();
    if (is_yuv(*coding.format)) {
        const auto* start = bytes + from_bit / 8;
        split_yuv(start, start + coding.row_bits(width) / 8, coding.format->layout, row);
        return;
    }
    const auto step = static_cast<std::size_t>(channels(*coding.format));
    row.words.resize(static_cast<std::size_t>(width) * step);
    unpack_samples(coding, bytes, from_bit, row.words.size(), row.words.data());
    if (dropped_bits > 0)
        for (auto& word : row.words) word = static_cast<std::uint16_t>(word >> dropped_bits);
    if (step == 1) {
        row.planes[0].assign(row.words.begin(), row.words.end());
        return;
    }
    const auto pixels = static_cast<std::size_t>(width);
    for (const std::size_t i : {0, 1, 2, 4, 5}) row.planes[i].resize(pixels);
    if (step == 4) row.planes[3].resize(pixels);
    for (std::size_t x = 0; x < pixels; ++x) {
        const auto* pixel = &row.words[x * step];
        const int red = pixel[0], green = pixel[1], blue = pixel[2];
        row.planes[0][x] = green;
        row.planes[1][x] = red - green;
        row.planes[2][x] = blue - green;
        if (step == 4) row.planes[3][x] = pixel[3];
        row.planes[4][x] = red;
        row.planes[5][x] = blue;
    }
}

}  // namespace frames
