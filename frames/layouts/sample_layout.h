// How samples lie in bytes: the layouts that have row functions.
#pragma once

#include "imgcnv_frames.h"

#include <cstddef>

namespace frames {

struct SampleLayout {
    imgcnv_layout layout;  // LSB_FIRST, BYTES, WORDS, PACKED or MIPI
    int depth;
    bool big_endian = false;  // WORDS only

    bool operator==(const SampleLayout&) const = default;
};

inline constexpr SampleLayout kSampleLayouts[] = {
    {IMGCNV_LAYOUT_LSB_FIRST, 1},    {IMGCNV_LAYOUT_LSB_FIRST, 2},
    {IMGCNV_LAYOUT_LSB_FIRST, 4},    {IMGCNV_LAYOUT_LSB_FIRST, 10},
    {IMGCNV_LAYOUT_LSB_FIRST, 12},   {IMGCNV_LAYOUT_LSB_FIRST, 14},
    {IMGCNV_LAYOUT_BYTES, 8},        {IMGCNV_LAYOUT_WORDS, 10},
    {IMGCNV_LAYOUT_WORDS, 12},       {IMGCNV_LAYOUT_WORDS, 14},
    {IMGCNV_LAYOUT_WORDS, 16},       {IMGCNV_LAYOUT_WORDS, 10, true},
    {IMGCNV_LAYOUT_WORDS, 12, true}, {IMGCNV_LAYOUT_WORDS, 14, true},
    {IMGCNV_LAYOUT_WORDS, 16, true}, {IMGCNV_LAYOUT_PACKED, 10},
    {IMGCNV_LAYOUT_PACKED, 12},      {IMGCNV_LAYOUT_MIPI, 10},
    {IMGCNV_LAYOUT_MIPI, 12},        {IMGCNV_LAYOUT_MIPI, 14},
};

/// Bytes that `count` samples take, an incomplete group with what its samples need of it. (Inlined
/// always: levels must not share code.)
[[gnu::always_inline]] constexpr std::size_t sample_bytes(SampleLayout layout, std::size_t count) {
    const auto bits = static_cast<std::size_t>(layout.depth);
    switch (layout.layout) {
        case IMGCNV_LAYOUT_BYTES:
            return count;
        case IMGCNV_LAYOUT_WORDS:
            return 2 * count;
        case IMGCNV_LAYOUT_PACKED:
            return count / 2 * 3 + count % 2 * 2;
        case IMGCNV_LAYOUT_MIPI: {
            const std::size_t pixels = bits == 12 ? 2 : 4, rest = count % pixels;
            const std::size_t low_bytes = (rest * (bits - 8) + 7) / 8;
            return count / pixels * (pixels * bits / 8) + (rest == 0 ? 0 : pixels + low_bytes);
        }
        default:
            return (count * bits + 7) / 8;
    }
}

}  // namespace frames
