// What is measured: every conversion, flip and rotation, with what it ought to cost.
#pragma once

#include <string>
#include <vector>

#include "tests/support/formats.h"

namespace imgcnv::bench {

using testing::Demosaic;
using testing::PixelFormat;
using testing::Record;
using testing::SourceFormat;

using OrientFunction = int (*)(unsigned char*, Record*, unsigned char*, int*);

struct Conversion {
    std::string name;
    const SourceFormat* source;
    PixelFormat destination;
    Demosaic method = IMGCNV_DEMOSAIC_BILINEAR;
    // When set, a flip or a rotation of a picture in the source format.
    OrientFunction orient = nullptr;

    // Targets of the best level; 0 = none. As a multiple of the bare pass at
    // 640x480 and 1920x1200, and of the fastest peer at those and at 5120x3840.
    double limit_target = 0;
    double peer_target = 0;
    double large_peer_target = 0;
};

struct Size {
    int width, height;
};
inline constexpr Size kSizes[] = {{64, 64}, {640, 480}, {1920, 1200}, {5120, 3840}};

inline double pixels(Size s) { return static_cast<double>(s.width) * s.height; }
inline std::string to_string(Size s) {
    return std::to_string(s.width) + "x" + std::to_string(s.height);
}

// Those with a target first, in a reader's order, then all the others.
const std::vector<Conversion>& all_conversions();

const Conversion& conversion_named(std::string_view name);

}  // namespace imgcnv::bench
