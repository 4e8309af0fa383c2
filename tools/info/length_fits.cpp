#include "info/length_fits.h"

#include "guess/known_sizes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace tool {
namespace {

constexpr std::int64_t kMostPadding = 4096;
constexpr double kProportions[] = {1.0, 5 / 4.0, 4 / 3.0, 3 / 2.0, 16 / 10.0, 16 / 9.0};

/// 0 where a frame of this size is not possible.
std::int64_t frame_bytes(const Format& format, std::int64_t width, std::int64_t height) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    frame.format = format.code;
    frame.width = width;
    frame.height = height;
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    return imgcnv_frame_measure(&frame, &sizes, nullptr, 0) == IMGCNV_OK ? sizes.frame_bytes : 0;
}

std::vector<LengthFit> unpadded_fits(std::int64_t bytes, std::int64_t width, std::int64_t height) {
    std::map<std::int64_t, LengthFit> by_frames;
    for (const auto& format : all_formats()) {
        const auto frame = frame_bytes(format, width, height);
        if (frame == 0 || bytes < frame || bytes % frame != 0) continue;
        auto& fit = by_frames[bytes / frame];
        fit = {width, height, bytes / frame, 0, std::move(fit.formats)};
        fit.formats.push_back(&format);
    }
    std::vector<LengthFit> fits;
    for (auto& [frames, fit] : by_frames) fits.push_back(std::move(fit));
    return fits;
}

}  // namespace

std::vector<LengthFit> known_size_fits(std::int64_t bytes) {
    std::vector<LengthFit> fits;
    for (const auto& [width, height] : frames::known_sizes())
        for (auto& fit : unpadded_fits(bytes, width, height)) fits.push_back(std::move(fit));
    std::stable_sort(fits.begin(), fits.end(),
                     [](const auto& a, const auto& b) { return a.frames < b.frames; });
    return fits;
}

std::vector<LengthFit> proportion_fits(std::int64_t bytes) {
    std::vector<LengthFit> fits;
    for (const int bits : {8, 12, 16, 24}) {
        const auto pixels = bytes * 8 / bits;
        if (pixels * bits != bytes * 8) continue;
        for (const auto proportion : kProportions) {
            // Sizes are rounded to whole pixels: the nearest widths may be meant.
            const auto ideal = std::llround(std::sqrt(static_cast<double>(pixels) * proportion));
            for (auto width = std::max(2LL, ideal - 4); width <= ideal + 4; ++width) {
                if (width % 2 != 0 || pixels % width != 0 || pixels / width % 2 != 0) continue;
                for (auto& fit : unpadded_fits(bytes, width, pixels / width))
                    if (fit.frames == 1) fits.push_back(std::move(fit));
            }
        }
    }
    return fits;
}

std::vector<LengthFit> size_fits(std::int64_t bytes, std::int64_t width, std::int64_t height) {
    auto fits = unpadded_fits(bytes, width, height);
    std::map<std::int64_t, LengthFit> by_padding;
    for (const auto& format : all_formats()) {
        if (is_points(format) || bytes % height != 0) continue;
        const auto padding = bytes / height - imgcnv_row_bytes(format.code, width);
        if (padding < 1 || padding > kMostPadding || padding > imgcnv_row_bytes(format.code, width))
            continue;
        auto& fit = by_padding[padding];
        fit = {width, height, 1, padding, std::move(fit.formats)};
        fit.formats.push_back(&format);
    }
    for (auto& [padding, fit] : by_padding) fits.push_back(std::move(fit));
    return fits;
}

}  // namespace tool
