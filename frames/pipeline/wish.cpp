#include "pipeline/wish.h"

#include "imgcnv_frames.h"
#include "support/boundary.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace frames {
namespace {

constexpr std::int64_t kMostBytes = std::numeric_limits<std::int64_t>::max() / 4;
constexpr int kMostThreads = 256;

imgcnv_status refuse(Text& text, imgcnv_status status = IMGCNV_BAD_ARGUMENT) {
    static_cast<void>(text);
    return status;
}

int channels_of(imgcnv_target_kind kind, const Geometry& frame) {
    switch (kind) {
        case IMGCNV_TARGET_MONO8:
            return 1;
        case IMGCNV_TARGET_RGBA32:
        case IMGCNV_TARGET_BGRA32:
            return 4;
        case IMGCNV_TARGET_RAW16:
            return is_rgb(*frame.format) ? 3 : 1;
        default:
            return 3;
    }
}

imgcnv_status check_kind(const Geometry& frame, const imgcnv_target& target, Text& text) {
    if (target.kind < IMGCNV_TARGET_MONO8 || target.kind > IMGCNV_TARGET_BGR48)
        return refuse(text << "target kind is " << target.kind
                           << ", expected 1 (mono8) to 8 (bgr48)");
    if (target.demosaic < IMGCNV_NEAREST || target.demosaic > IMGCNV_ADAPTIVE)
        return refuse(text << "demosaic is " << target.demosaic
                           << ", expected 0 (nearest), 1 (bilinear) or 2 (adaptive)");
    if (target.rotation != 0 && target.rotation != 90 && target.rotation != 180 &&
        target.rotation != 270)
        return refuse(text << "rotation is " << target.rotation << ", expected 0, 90, 180 or 270");
    if (target.threads < 0 || target.threads > kMostThreads)
        return refuse(text << "threads is " << target.threads << ", expected 0 (as many as pay) to "
                           << kMostThreads);
    const bool has_samples = channels(*frame.format) != 0;
    if (target.kind == IMGCNV_TARGET_RAW16 && !has_samples)
        return refuse(text << frame.format->name
                           << " has no samples of one pixel each that raw16 could hold; use rgb24",
                      IMGCNV_UNSUPPORTED);
    if (target.kind == IMGCNV_TARGET_RAW16 && is_demosaiced(frame) &&
        (target.rotation != 0 ||
         (target.flags & (IMGCNV_TARGET_FLIP_HORIZONTAL | IMGCNV_TARGET_FLIP_VERTICAL)) != 0))
        return refuse(
            text << "raw16 keeps the mosaic, whose colour order a rotation or a flip would "
                    "change; rotate rgb48 pictures, or the raw16 picture without one",
            IMGCNV_UNSUPPORTED);
    return IMGCNV_OK;
}

void set_orientation(const imgcnv_target& target, Wish& wish) {
    wish.transpose = target.rotation == 90 || target.rotation == 270;
    wish.flip_horizontal = target.rotation == 90 || target.rotation == 180;
    wish.flip_vertical = target.rotation == 270 || target.rotation == 180;
    if ((target.flags & IMGCNV_TARGET_FLIP_HORIZONTAL) != 0)
        wish.flip_horizontal = !wish.flip_horizontal;
    if ((target.flags & IMGCNV_TARGET_FLIP_VERTICAL) != 0) wish.flip_vertical = !wish.flip_vertical;
}

imgcnv_status set_sizes(const Geometry& frame, const imgcnv_target& target, Wish& wish,
                        Text& text) {
    wish.width = wish.transpose ? frame.height : frame.width;
    wish.height = wish.transpose ? frame.width : frame.height;
    wish.channels = channels_of(wish.kind, frame);
    wish.channel_bytes = wish.kind >= IMGCNV_TARGET_RAW16 ? 2 : 1;
    wish.row_bytes = wish.width * wish.pixel_bytes();
    wish.stride = target.stride == 0 ? wish.row_bytes : target.stride;
    if (wish.stride < wish.row_bytes)
        return refuse(text << "the target's stride is " << target.stride
                           << ", expected 0 or at least " << wish.row_bytes << ", the bytes of "
                           << wish.width << " pixels of " << imgcnv_target_name(wish.kind));
    if (wish.stride > kMostBytes / wish.height)
        return refuse(text << "the target's stride is " << target.stride
                           << ", too large for a picture of " << wish.height << " rows");
    wish.picture_bytes = wish.stride * (wish.height - 1) + wish.row_bytes;
    return IMGCNV_OK;
}

/// `value`, or what 0 stands for.
double or_usual(double value, double usual) { return value == 0 ? usual : value; }

imgcnv_status check_levels(const imgcnv_levels& levels, double largest, Text& text) {
    const auto within = [](double value, double least, double most) {
        return value >= least && value <= most;  // false for a NaN
    };
    if (!within(levels.black, 0, largest))
        return refuse(text << "black is outside 0 to " << static_cast<std::int64_t>(largest)
                           << ", the samples of the format");
    if (!(levels.white > levels.black) || !within(levels.white, 0, 65535))
        return refuse(text << "white must be above black and at most 65535");
    for (const double gain : {levels.red_gain, levels.green_gain, levels.blue_gain})
        if (!within(gain, 0, 64)) return refuse(text << "a gain is outside 0 to 64");
    if (!within(levels.gamma, 0.01, 100)) return refuse(text << "gamma is outside 0.01 to 100");
    if (!within(levels.contrast, 0.01, 100))
        return refuse(text << "contrast is outside 0.01 to 100");
    return IMGCNV_OK;
}

std::uint8_t to_byte(double value) {
    return static_cast<std::uint8_t>(std::lround(value < 0 ? 0 : value > 255 ? 255 : value));
}

/// Gamma and contrast as a table; levels too where samples cannot take them (`levels_as_table`).
void make_curve(const Geometry& frame, bool levels_as_table, Wish& wish) {
    const auto& levels = wish.levels;
    const bool has_curve = levels.curve != nullptr || levels.gamma != 1 || levels.contrast != 1;
    if (!has_curve && !levels_as_table) return;
    const double unit = levels_as_table ? (1 << frame.format->depth) - 1 : 255;
    const double gains[3] = {levels.red_gain, levels.green_gain, levels.blue_gain};
    wish.curve.resize(768);
    for (int channel = 0; channel < 3; ++channel) {
        const int color = wish.channels == 1 ? 1 : wish.is_blue_first() ? 2 - channel : channel;
        for (int i = 0; i < 256; ++i) {
            double value = i;
            if (levels_as_table)
                value = to_byte((i * unit / 255 - levels.black) / (levels.white - levels.black) *
                                255 * gains[color]);
            if (levels.curve != nullptr) {
                value = levels.curve[color * 256 + static_cast<int>(value)];
            } else {
                value = 255 * std::pow(value / 255, 1 / levels.gamma);
                value = (value - 127.5) * levels.contrast + 127.5;
            }
            wish.curve[static_cast<std::size_t>(channel * 256 + i)] = to_byte(value);
        }
    }
}

imgcnv_status set_levels(const Geometry& frame, const imgcnv_target& target, Wish& wish,
                         Text& text) {
    if (target.levels == nullptr) return IMGCNV_OK;
    auto& levels = wish.levels;
    if (!take(target.levels, levels)) return refuse(text << "the levels' struct_size is not set");
    const double largest = (1 << frame.format->depth) - 1;
    levels.white = or_usual(levels.white, largest);
    levels.red_gain = or_usual(levels.red_gain, 1);
    levels.green_gain = or_usual(levels.green_gain, 1);
    levels.blue_gain = or_usual(levels.blue_gain, 1);
    levels.gamma = or_usual(levels.gamma, 1);
    levels.contrast = or_usual(levels.contrast, 1);
    if (const auto status = check_levels(levels, largest, text); status != IMGCNV_OK) return status;
    const bool identity = levels.black == 0 && levels.white == largest && levels.red_gain == 1 &&
                          levels.green_gain == 1 && levels.blue_gain == 1;
    const bool has_samples = channels(*frame.format) != 0;
    wish.has_levels = !identity && has_samples;
    if (wish.is_wide()) {
        if (levels.curve != nullptr || levels.gamma != 1 || levels.contrast != 1)
            return refuse(text << "gamma, contrast and curves are for 8-bit targets",
                          IMGCNV_UNSUPPORTED);
        if (!identity && !has_samples)
            return refuse(text << "levels of " << frame.format->name << " are for 8-bit targets",
                          IMGCNV_UNSUPPORTED);
        return IMGCNV_OK;
    }
    make_curve(frame, !identity && !has_samples, wish);
    levels.curve = nullptr;  // the caller's may go
    return IMGCNV_OK;
}

}  // namespace

imgcnv_status make_wish(const Geometry& frame, const imgcnv_target& target, Wish& wish,
                        Text& text) {
    if (const auto status = check_kind(frame, target, text); status != IMGCNV_OK) return status;
    wish.kind = static_cast<imgcnv_target_kind>(target.kind);
    wish.method = static_cast<imgcnv_demosaic>(target.demosaic);
    wish.threads = target.threads;
    wish.full_scale =
        wish.kind >= IMGCNV_TARGET_RAW16 && (target.flags & IMGCNV_TARGET_FULL_SCALE) != 0;
    wish.keep_alpha = (target.flags & IMGCNV_TARGET_KEEP_ALPHA) != 0 &&
                      (wish.kind == IMGCNV_TARGET_RGBA32 || wish.kind == IMGCNV_TARGET_BGRA32) &&
                      channels(*frame.format) == 4;
    wish.any_alpha = (target.flags & IMGCNV_TARGET_ANY_ALPHA) != 0;
    set_orientation(target, wish);
    if (const auto status = set_sizes(frame, target, wish, text); status != IMGCNV_OK)
        return status;
    return set_levels(frame, target, wish, text);
}

IMGCNV_EPixelFormat core_target(imgcnv_target_kind kind) {
    switch (kind) {
        case IMGCNV_TARGET_MONO8:
            return IMGCNV_PIXEL_MONO8;
        case IMGCNV_TARGET_BGR24:
        case IMGCNV_TARGET_BGR48:
            return IMGCNV_PIXEL_BGR8_PACKED;
        case IMGCNV_TARGET_RGBA32:
            return IMGCNV_PIXEL_RGBA8_PACKED;
        case IMGCNV_TARGET_BGRA32:
            return IMGCNV_PIXEL_BGRA8_PACKED;
        default:
            return IMGCNV_PIXEL_RGB8_PACKED;
    }
}

}  // namespace frames
