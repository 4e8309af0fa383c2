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
// Columns beyond the strip that a method may look at, on either side (even). Where
// the frame ends they hold nothing, but may be read.
inline constexpr size_t kStripHalo = 4;

template <size_t kSlots>
class SampleLines {
  public:
    explicit SampleLines(const BayerFrame& frame) : frame_(frame) {}

    // Columns to be asked for from now on: those of [begin, end) and the halo.
    // begin: even
    void begin_strip(size_t begin, size_t end) {
        begin_ = begin;
        first_ = begin < kStripHalo ? 0 : begin - kStripHalo;
        const size_t wanted = (end + kStripHalo + 1) & ~size_t{1};
        end_ = wanted < frame_.width ? wanted : frame_.width;
        for (size_t& row : held_) row = kNoRow;
    }

    // Sample x of row y.
    const uint8_t* at(size_t y, size_t x) {
        if (frame_.line_format.decode == nullptr) return frame_.src_rows[y] + x;
        const size_t slot = y % kSlots;
        if (held_[slot] != y) {
            frame_.line_format.decode(
                frame_.src_rows[y] + first_ / 2 * frame_.line_format.bytes_per_pair,
                lines_[slot] + kLead + first_ - begin_, end_ - first_);
            held_[slot] = y;
        }
        return lines_[slot] + kLead + x - begin_;
    }

  private:
    static constexpr size_t kNoRow = ~size_t{0};
    static constexpr size_t kLead = 64;  // the strip itself begins at a cache line

    const BayerFrame& frame_;
    size_t begin_ = 0;
    size_t first_ = 0;
    size_t end_ = 0;
    size_t held_[kSlots];
    alignas(64) uint8_t lines_[kSlots][kLead + kStripColumns + 64];
};

// Calls piece(y, begin, end) for every row, or every second one, of every strip.
// Rows that need no decoding are not cut: whole rows, one after the other, are
// how memory likes to be read.
template <size_t kSlots, class F>
void for_each_piece(const BayerFrame& frame, SampleLines<kSlots>& lines, size_t width,
                    size_t row_step, F piece) {
    if (frame.line_format.decode == nullptr) {
        for (size_t y = 0; y < frame.height; y += row_step) piece(y, 0, width);
        return;
    }
    for (size_t begin = 0; begin < width; begin += kStripColumns) {
        const size_t end = begin + kStripColumns < width ? begin + kStripColumns : width;
        lines.begin_strip(begin, end);
        for (size_t y = 0; y < frame.height; y += row_step) piece(y, begin, end);
    }
}

}  // namespace imgcnv
