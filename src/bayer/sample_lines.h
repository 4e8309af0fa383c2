// The rows of a mosaic as lines of 8-bit samples.
//
// 8-bit rows are used where they lie. Others are decoded, a strip of columns at
// a time, into a small ring on the stack, so that nothing is allocated and the
// working set stays in the first-level cache. Rows must be asked for in
// ascending order within kSlots of one another.
#pragma once

#include "bayer/bayer_frame.h"

namespace imgcnv {

// Columns of a strip. 8 rows of it are 16 KiB.
inline constexpr size_t kStripColumns = 2048;
// Columns beyond the strip that a method may look at, on either side (even).
inline constexpr size_t kStripHalo = 4;

template <size_t kSlots>
class SampleLines {
  public:
    explicit SampleLines(const BayerFrame& frame) : frame_(frame) {}

    // Columns to be asked for from now on: those of [begin, end) and the halo.
    void begin_strip(size_t begin, size_t end) {
        first_ = begin < kStripHalo ? 0 : (begin - kStripHalo) & ~size_t{1};
        end_ = end + kStripHalo < frame_.width ? end + kStripHalo : frame_.width;
        for (size_t& row : held_) row = kNoRow;
    }

    // Sample x of row y.
    const uint8_t* at(size_t y, size_t x) {
        if (frame_.line_format.decode == nullptr) return frame_.src_rows[y] + x;
        const size_t slot = y % kSlots;
        if (held_[slot] != y) {
            frame_.line_format.decode(
                frame_.src_rows[y] + first_ / 2 * frame_.line_format.bytes_per_pair, lines_[slot],
                end_ - first_);
            held_[slot] = y;
        }
        return lines_[slot] + (x - first_);
    }

  private:
    static constexpr size_t kNoRow = ~size_t{0};

    const BayerFrame& frame_;
    size_t first_ = 0;
    size_t end_ = 0;
    size_t held_[kSlots];
    uint8_t lines_[kSlots][kStripColumns + 2 * kStripHalo + 8];
};

}  // namespace imgcnv
