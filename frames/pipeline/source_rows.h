#pragma once

#include "pipeline/rectangle.h"
#include "pipeline/wish.h"

#include <cstdint>

namespace frames {

/// Reads rectangles of a frame as samples, whatever the layout: 8-bit ones for libimgcnv, or 16-bit
/// ones at their own value. Levels and the range of YUV are applied on the way; alpha is dropped.
class SourceRows {
  public:
    SourceRows() = default;
    SourceRows(const Geometry& frame, const Wish& wish);

    /// Samples per pixel of what is read: 1 or 3. 0 for YUV, whose rows are read as they lie.
    int channels() const { return channels_; }
    /// Bits from sample to sample of a mosaic.
    std::size_t bits() const { return static_cast<std::size_t>(frame_.format->bits_per_pixel); }
    /// Bytes of a row of 8-bit samples, or of a row of YUV.
    std::int64_t row_bytes8(std::int64_t columns) const;
    /// Bytes that read8 and read16 need at `scratch`.
    std::size_t scratch_bytes(std::int64_t columns) const;
    /// Whether 8-bit samples of the frame are anything but its bytes.
    bool changes_samples() const { return has_levels_ || widens_range_ || four_channels_; }

    /// Rows `stride` bytes apart. The rectangle begins at an even column (YUV: at column 0).
    void read8(const std::uint8_t* frame, const Rectangle& part, std::uint8_t* out,
               std::int64_t stride, std::uint8_t* scratch) const;
    /// The last columns of an odd width and, as one more, the mirrored column beyond them.
    static constexpr std::int64_t kLastColumns = 9;
    void read_last8(const std::uint8_t* frame, std::int64_t first_row, std::int64_t last_row,
                    std::uint8_t* out, std::uint8_t* scratch) const;
    /// Samples of a mosaic from the first byte of a group on, where `readable` bytes may be read.
    /// `row` is 0 or 1, for even and odd rows.
    void read_line8(const std::uint8_t* bytes, std::size_t readable, std::uint8_t* out,
                    std::size_t row, std::size_t samples) const {
        if (has_levels_)
            kernels_.to8_levels(bytes, readable, out, samples, levels8_[row], 2);
        else
            kernels_.to8(bytes, readable, out, samples);
    }
    /// Rows `stride` words apart.
    void read16(const std::uint8_t* frame, const Rectangle& part, std::uint16_t* out,
                std::int64_t stride, std::uint8_t* scratch) const;
    /// The alpha bytes of a row of RGBa8 or BGRa8, into every fourth byte from `out` on.
    void read_alpha(const std::uint8_t* frame, std::int64_t row, std::uint8_t* out) const;

  private:
    struct Place {
        const std::uint8_t* bytes;  ///< where the group begins
        std::size_t readable;       ///< from there to the frame's end
        std::int64_t lead;          ///< pixels of the group before the one wanted
    };

    Place place(const std::uint8_t* frame, std::int64_t row, std::int64_t column) const;
    bool is_one_run(const Rectangle& part) const;
    void read_run8(const std::uint8_t* frame, std::int64_t row, std::int64_t column,
                   std::int64_t columns, std::uint8_t* out, std::uint8_t* scratch) const;
    void read_run16(const std::uint8_t* frame, std::int64_t row, std::int64_t column,
                    std::int64_t columns, std::uint16_t* out, std::uint8_t* scratch) const;
    int period() const { return is_mosaic_ ? 2 : channels_; }
    void unpack8(const Place& from, std::uint8_t* out, std::int64_t row, std::int64_t pixels) const;
    template <class Sample>
    void mirror_columns(const Rectangle& part, Sample* row) const;

    Geometry frame_;
    LayoutKernels kernels_{};
    LayoutKernels dropped_{};   ///< of the samples without their alpha
    LevelRow levels_[2]{};      ///< of even and odd rows
    FixedLevels levels8_[2]{};  ///< the same to 8 bits
    int channels_ = 1;
    int full_scale_depth_ = 0;  ///< 0: samples keep their value
    bool four_channels_ = false;
    bool has_levels_ = false;
    bool widens_range_ = false;
    bool is_mosaic_ = false;
};

}  // namespace frames
