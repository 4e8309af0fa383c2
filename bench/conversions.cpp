#include "conversions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace imgcnv::bench {
namespace {

struct Destination {
    const char* name;
    PixelFormat code;
};
constexpr Destination kDestinations[] = {
    {"Mono8", IMGCNV_PIXEL_MONO8},         {"RGB24", IMGCNV_PIXEL_RGB8_PACKED},
    {"BGR24", IMGCNV_PIXEL_BGR8_PACKED},   {"RGBA32", IMGCNV_PIXEL_RGBA8_PACKED},
    {"BGRA32", IMGCNV_PIXEL_BGRA8_PACKED},
};

constexpr const char* kMethodNames[] = {"nearest", "bilinear", "adaptive"};

struct Orientation {
    const char* name;
    OrientFunction function;
};
constexpr Orientation kOrientations[] = {
    {"flip-horizontal", IMGCNV_FlipToHorizontal}, {"flip-vertical", IMGCNV_FlipToVertical},
    {"rotate-90", IMGCNV_RotationToAngle90},      {"rotate-180", IMGCNV_RotationToAngle180},
    {"rotate-270", IMGCNV_RotationToAngle270},
};

struct Target {
    const char* conversion;
    double limit, peer, large_peer;
};
// The multiples of the bare pass come from counting a conversion's operations;
// those of the peers say where they leave room.
constexpr Target kTargets[] = {
    {"Mono8-Mono8", 1.15, 1.0, 1.0},
    {"Mono8-RGB24", 1.2, .95, .9},
    {"Mono8-RGBA32", 1.15, 1.0, .9},
    {"Mono12-Mono8", 1.15, 1.0, .9},
    {"Mono16-Mono8", 1.15, 1.0, .9},
    {"Mono10-RGB24", 1.25, .4, .6},
    {"Mono12Packed-Mono8", 1.15, .3, .4},
    {"Mono12Packed-RGB24", 1.25, .25, .5},
    {"Mono1p-Mono8", 1.3, .01, .03},
    {"Mono4p-Mono8", 1.25, .12, .3},
    {"RGB8-BGR24", 1.35, .8, .9},
    {"RGB8-RGBA32", 1.15, 1.0, .9},
    {"RGB8-Mono8", 2.3, .8, 1.05},
    {"YUV422-RGB24", 1.9, .5, .5},
    {"YUV422_YUYV-RGB24", 1.9, .5, .5},
    {"YUV422-BGRA32", 1.6, .75, .95},
    {"YUV422-Mono8", 4.5, .7, .6},
    {"YUV444-RGB24", 1.8, .3, .5},
    {"YUV411-RGB24", 2.2, .1, .15},
    {"BayerRG8-RGB24-nearest", 1.6, .15, .3},
    {"BayerRG8-RGB24-bilinear", 2.0, .25, .5},
    {"BayerRG8-RGBA32-bilinear", 1.8, .3, .5},
    {"BayerRG8-Mono8-bilinear", 6.5, .5, .5},
    {"BayerRG8-RGB24-adaptive", 4.5, .45, .5},
    {"BayerRG8-Mono8-adaptive", 14, .4, .4},
    {"BayerRG12-RGB24-bilinear", 2.0, .25, .5},
    {"BayerRG12Packed-RGB24-bilinear", 2.2, .2, .45},
    {"Mono8-flip-horizontal", 1.15, 1.0, .8},
    {"RGB8-flip-horizontal", 1.35, .7, .8},
    {"RGB8-flip-vertical", 1.15, 1.0, 1.0},
    {"Mono8-rotate-90", 1.6, .35, .4},
    {"Mono8-rotate-270", 1.6, .35, .4},
    {"RGB8-rotate-90", 3.0, .35, .35},
    {"RGB8-rotate-270", 3.0, .35, .35},
    {"Mono8-rotate-180", 1.15, .8, 1.0},
    {"RGB8-rotate-180", 1.25, .7, 1.0},
};

std::vector<Conversion> make_conversions() {
    std::vector<Conversion> all;
    for (const SourceFormat& source : testing::kSources) {
        for (const Destination& to : kDestinations) {
            const std::string name = std::string(source.name) + "-" + to.name;
            if (!is_bayer(source)) {
                all.push_back({.name = name, .source = &source, .destination = to.code});
                continue;
            }
            for (const Demosaic method : testing::kMethods) {
                all.push_back({.name = name + "-" + kMethodNames[method],
                               .source = &source,
                               .destination = to.code,
                               .method = method});
            }
        }
        if (source.code == IMGCNV_PIXEL_MONO8 || source.code == IMGCNV_PIXEL_RGB8_PACKED) {
            for (const Orientation& orientation : kOrientations) {
                all.push_back({.name = std::string(source.name) + "-" + orientation.name,
                               .source = &source,
                               .destination = source.code,
                               .orient = orientation.function});
            }
        }
    }
    // A target moves its conversion to the place the target has.
    auto place = all.begin();
    for (const Target& target : kTargets) {
        const auto found = std::find_if(
            place, all.end(), [&](const Conversion& c) { return c.name == target.conversion; });
        if (found == all.end()) {
            std::fprintf(stderr, "a target names no conversion: %s\n", target.conversion);
            std::abort();
        }
        found->limit_target = target.limit;
        found->peer_target = target.peer;
        found->large_peer_target = target.large_peer;
        std::rotate(place, found, found + 1);
        ++place;
    }
    return all;
}

}  // namespace

const std::vector<Conversion>& all_conversions() {
    static const std::vector<Conversion> all = make_conversions();
    return all;
}

const Conversion& conversion_named(std::string_view name) {
    for (const Conversion& c : all_conversions()) {
        if (c.name == name) return c;
    }
    std::fprintf(stderr, "no conversion is named %.*s\n", static_cast<int>(name.size()),
                 name.data());
    std::abort();
}

}  // namespace imgcnv::bench
