#pragma once

#include "imgcnv.h"

#include "geometry/frame_geometry.h"
#include "layouts/kernels.h"

#include <cstdint>
#include <vector>

namespace frames {

/// A checked target description: what a picture must look like.
struct Wish {
    imgcnv_target_kind kind{};
    imgcnv_demosaic method{};
    std::int64_t width = 0;  ///< of the picture, after the rotation
    std::int64_t height = 0;
    int channels = 0;
    int channel_bytes = 0;
    std::int64_t row_bytes = 0;
    std::int64_t stride = 0;
    std::int64_t picture_bytes = 0;
    int threads = 1;
    bool full_scale = false;
    bool keep_alpha = false;
    bool any_alpha = false;

    /// Rotation and flips: rows and columns are exchanged first, then the picture is flipped.
    bool transpose = false;
    bool flip_horizontal = false;
    bool flip_vertical = false;

    bool has_levels = false;          ///< samples pass through `levels` before all else
    imgcnv_levels levels{};           ///< with every default resolved
    std::vector<std::uint8_t> curve;  ///< 3 x 256 in the target's channel order, or empty

    int pixel_bytes() const { return channels * channel_bytes; }
    bool is_wide() const { return channel_bytes == 2; }
    bool is_upright() const { return !transpose && !flip_horizontal && !flip_vertical; }
    bool is_tight() const { return stride == row_bytes; }
    bool is_blue_first() const {
        return kind == IMGCNV_TARGET_BGR24 || kind == IMGCNV_TARGET_BGRA32 ||
               kind == IMGCNV_TARGET_BGR48;
    }
    bool has_alpha() const { return channels == 4 && !any_alpha; }
};

/// Checks a target description for frames of this geometry. The text says what is wrong.
imgcnv_status make_wish(const Geometry& frame, const imgcnv_target& target, Wish& wish, Text& text);

/// Whether the frame is demosaiced. A single row or column holds two colours at most: such a frame
/// becomes grey.
inline bool is_demosaiced(const Geometry& frame) {
    return is_mosaic(*frame.format) && frame.width > 1 && frame.height > 1;
}

/// The destination code that libimgcnv has for an 8-bit target.
IMGCNV_EPixelFormat core_target(imgcnv_target_kind kind);

}  // namespace frames
