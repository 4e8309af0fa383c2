#pragma once

#include "formats/format.h"

#include <string_view>

namespace frames {

/// What the parts of a name say: "SRGGB12_CSI2P" is a mosaic, RG, 12 bits, MIPI.
struct NameMeaning {
    enum class Kind { Unknown, Grey, Mosaic, Color, Yuv };

    Kind kind = Kind::Unknown;
    imgcnv_bayer_order order = IMGCNV_ORDER_NONE;
    int depth = 0;         ///< 0: not said
    int layout = 0;        ///< imgcnv_layout; 0: not said
    int chroma = 0;        ///< 411, 422, 444 of YUV
    bool is_whole = true;  ///< every part of the name has a meaning
};

/// Takes a plain name apart.
NameMeaning meaning_of(std::string_view plain);

/// The one format that a name says; null when it leaves something open.
const Format* format_of(const NameMeaning& meaning);

/// How far a format is from what a name says; 0 is all the same.
int distance(const NameMeaning& meaning, const Format& format);

}  // namespace frames
