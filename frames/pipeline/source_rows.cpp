#include "pipeline/source_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace frames {
namespace {

/// Which of red, green and blue (0, 1, 2) a mosaic's sample is.
int color_at(imgcnv_bayer_order order, std::int64_t row, std::int64_t column) {
    constexpr int kCells[5][4] = {
        {1, 1, 1, 1}, {0, 1, 1, 2}, {1, 2, 0, 1}, {2, 1, 1, 0}, {1, 0, 2, 1}};
    return kCells[order][row % 2 * 2 + column % 2];
}

}  // namespace

SourceRows::SourceRows(const Geometry& frame, const Wish& wish)
    : frame_(frame), channels_(frames::channels(*frame.format)) {
    four_channels_ = channels_ == 4;
    if (four_channels_) channels_ = 3;
    widens_range_ = is_yuv(*frame.format) && frame.video_range;
    is_mosaic_ = is_mosaic(*frame.format);
    has_levels_ = wish.has_levels;
    if (channels_ != 0) kernels_ = layout_kernels(*frame.format, frame.big_endian);
    if (wish.full_scale && !has_levels_) full_scale_depth_ = frame.format->depth;
    if (!has_levels_) return;

    // Levels are applied to RGB samples without their alpha.
    if (four_channels_) dropped_ = layout_kernels(*format_of_code(IMGCNV_PIXEL_RGB8_PACKED), false);
    const double largest = (1 << frame.format->depth) - 1;
    const double full = !wish.is_wide() ? 255 : wish.full_scale ? 65535 : largest;
    const double gains[3] = {wish.levels.red_gain, wish.levels.green_gain, wish.levels.blue_gain};
    const bool blue_first =
        frame.format->layout == IMGCNV_LAYOUT_BGR || frame.format->layout == IMGCNV_LAYOUT_BGRA;
    for (int row = 0; row < 2; ++row) {
        levels_[row].black = static_cast<float>(wish.levels.black);
        levels_[row].most = static_cast<float>(full);
        for (int i = 0; i < 3; ++i) {
            const int color =
                channels_ == 3
                    ? (blue_first ? 2 - i : i)
                    : color_at(static_cast<imgcnv_bayer_order>(frame.format->order), row, i);
            levels_[row].scale[i] =
                static_cast<float>(full / (wish.levels.white - wish.levels.black) * gains[color]);
        }
        levels8_[row] = fixed_levels(levels_[row], frame.format->depth);
    }
}

std::int64_t SourceRows::row_bytes8(std::int64_t columns) const {
    return channels_ == 0 ? frame_.row_bytes : columns * channels_;
}

std::size_t SourceRows::scratch_bytes(std::int64_t columns) const {
    // Four 16-bit samples per pixel of whole groups.
    return static_cast<std::size_t>(columns + 16) * 8;
}

SourceRows::Place SourceRows::place(const std::uint8_t* frame, std::int64_t row,
                                    std::int64_t column) const {
    const auto& format = *frame_.format;
    const auto* bytes = frame;
    std::int64_t lead = 0;
    if (frame_.is_stream() || column != 0) {
        const auto pixel = frame_.is_stream() ? row * frame_.width + column : column;
        bytes += pixel / format.group_pixels * format.group_bytes;
        lead = pixel % format.group_pixels;
    }
    bytes += row * frame_.stride;
    return {bytes, static_cast<std::size_t>(frame + frame_.needed_bytes - bytes), lead};
}

/// The upper 8 bits of whole groups' samples, through the levels where there are any.
void SourceRows::unpack8(const Place& from, std::uint8_t* out, std::int64_t row,
                         std::int64_t pixels) const {
    const auto count = static_cast<std::size_t>(pixels * channels_);
    if (!has_levels_) return kernels_.to8(from.bytes, from.readable, out, count);
    auto levels = levels8_[row % 2];
    if (is_mosaic_ && from.lead % 2 != 0) std::swap(levels.factor[0], levels.factor[1]);
    (four_channels_ ? dropped_ : kernels_)
        .to8_levels(from.bytes, from.readable, out, count, levels, period());
}

void SourceRows::read_run8(const std::uint8_t* frame, std::int64_t row, std::int64_t column,
                           std::int64_t columns, std::uint8_t* out, std::uint8_t* scratch) const {
    const auto from = place(frame, row, column);
    if (four_channels_) {
        auto* dropped = has_levels_ ? scratch : out;
        sample_kernels().drop_alpha8(from.bytes, dropped, static_cast<std::size_t>(columns), false);
        const auto bytes = static_cast<std::size_t>(columns * channels_);
        if (has_levels_) unpack8({scratch, bytes, 0}, out, row, columns);
    } else if (from.lead == 0) {
        unpack8(from, out, row, columns);
    } else {
        unpack8(from, scratch, row, from.lead + columns);
        std::memcpy(out, scratch + from.lead * channels_,
                    static_cast<std::size_t>(columns * channels_));
    }
}

void SourceRows::read_run16(const std::uint8_t* frame, std::int64_t row, std::int64_t column,
                            std::int64_t columns, std::uint16_t* out, std::uint8_t* scratch) const {
    const auto from = place(frame, row, column);
    const auto pixels = from.lead + columns;
    auto* wide = reinterpret_cast<std::uint16_t*>(scratch);
    if (from.lead == 0 && !four_channels_) {
        kernels_.to16(from.bytes, from.readable, out,
                      static_cast<std::size_t>(columns * channels_));
    } else {
        kernels_.to16(from.bytes, from.readable, wide,
                      static_cast<std::size_t>(pixels * (four_channels_ ? 4 : channels_)));
        if (!four_channels_) {
            std::memmove(out, wide + from.lead * channels_,
                         static_cast<std::size_t>(columns * channels_) * 2);
        } else {
            for (std::int64_t x = 0; x < columns; ++x)
                for (int i = 0; i < 3; ++i) out[x * 3 + i] = wide[x * 4 + i];
        }
    }
}

template <class Sample>
void SourceRows::mirror_columns(const Rectangle& part, Sample* row) const {
    for (auto x = frame_.width; x < part.last_column; ++x)
        std::memcpy(row + (x - part.first_column) * channels_,
                    row + (mirrored(x, frame_.width) - part.first_column) * channels_,
                    static_cast<std::size_t>(channels_) * sizeof(Sample));
}

bool SourceRows::is_one_run(const Rectangle& part) const {
    return frame_.is_stream() && !has_levels_ && part.first_column == 0 &&
           part.last_column == frame_.width && part.first_row >= 0 &&
           part.last_row <= frame_.height &&
           part.first_row * frame_.width % frame_.format->group_pixels == 0;
}

void SourceRows::read8(const std::uint8_t* frame, const Rectangle& part, std::uint8_t* out,
                       std::int64_t stride, std::uint8_t* scratch) const {
    if (widens_range_) {
        for (auto y = part.first_row; y < part.last_row; ++y, out += stride)
            sample_kernels().full_range(frame + y * frame_.stride, out,
                                        static_cast<std::size_t>(frame_.row_bytes),
                                        static_cast<imgcnv_layout>(frame_.format->layout));
        return;
    }
    if (is_one_run(part) && stride == part.columns()) {
        const auto from = place(frame, part.first_row, 0);
        kernels_.to8(from.bytes, from.readable, out,
                     static_cast<std::size_t>(part.rows() * part.columns()));
        return;
    }
    const auto inside = std::min(part.last_column, frame_.width) - part.first_column;
    for (auto y = part.first_row; y < part.last_row; ++y, out += stride) {
        read_run8(frame, mirrored(y, frame_.height), part.first_column, inside, out, scratch);
        mirror_columns(part, out);
    }
}

void SourceRows::read_last8(const std::uint8_t* frame, std::int64_t first_row,
                            std::int64_t last_row, std::uint8_t* out, std::uint8_t* scratch) const {
    const auto column = frame_.width - kLastColumns;
    if (frame_.format->layout != IMGCNV_LAYOUT_BYTES || has_levels_) {
        read8(frame, {first_row, last_row, column, frame_.width + 1}, out, kLastColumns + 1,
              scratch);
        return;
    }
    // The general way takes longer than all else that is done to these bytes.
    for (auto y = first_row; y < last_row; ++y, out += kLastColumns + 1) {
        std::memcpy(out, frame + mirrored(y, frame_.height) * frame_.stride + column, kLastColumns);
        out[kLastColumns] = out[kLastColumns - 2];
    }
}

void SourceRows::read16(const std::uint8_t* frame, const Rectangle& part, std::uint16_t* out,
                        std::int64_t stride, std::uint8_t* scratch) const {
    const auto inside = std::min(part.last_column, frame_.width) - part.first_column;
    const auto count = static_cast<std::size_t>(inside * channels_);
    for (auto y = part.first_row; y < part.last_row; ++y, out += stride) {
        const auto row = mirrored(y, frame_.height);
        read_run16(frame, row, part.first_column, inside, out, scratch);
        if (has_levels_)
            sample_kernels().levels_to16(out, out, count, levels_[row % 2], period());
        else if (full_scale_depth_ != 0)
            sample_kernels().full_scale(out, out, count, full_scale_depth_);
        mirror_columns(part, out);
    }
}

void SourceRows::read_alpha(const std::uint8_t* frame, std::int64_t row, std::uint8_t* out) const {
    const auto* from = frame + row * frame_.stride + 3;
    for (std::int64_t x = 0; x < frame_.width; ++x) out[4 * x] = from[4 * x];
}

}  // namespace frames
