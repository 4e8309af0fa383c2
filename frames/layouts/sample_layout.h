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

}  // namespace frames
