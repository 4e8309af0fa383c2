// The rows of a mosaic as lines of 8-bit samples.
//
// 8-bit rows are used where they lie. Others are decoded, a strip of columns at
// a time, into a small ring on the stack, so that nothing is allocated and the
// working set stays in the caches.
//
// Strips are as wide as the stack allows: every strip goes through all pages of
// the frame again.
#pragma once

#include <algorithm>
#include <tuple>

#include "bayer/bayer_frame.h"

namespace imgcnv {

// Columns beyond the strip that a method may look at, on either side (even).
inline constexpr size_t kStripHalo = 4;
// Samples beyond those, or beyond the frame: 0. (What kernels make of them is written again,
// but it must not depend on what was there before.)
inline constexpr ptrdiff_t kBeyond = 3;

// Room before a line in memory, so that its strip begins at a cache line.
inline constexpr size_t kLineLead = 64;
constexpr size_t line_bytes(size_t columns) { return kLineLead + columns + 64; }

// Columns of the strips, all alike and at most so many (a multiple of 64).
inline size_t strip_columns(size_t width, size_t most) {
    const size_t strips = (width + most - 1) / most;
    return ((width + strips - 1) / strips + 63) / 64 * 64;
}

// Tells of a frame's rows, and decodes them, a strip of columns at a time.
class LineReader {
  public:
    explicit LineReader(const BayerFrame& frame) : frame_(frame) {
        // The outermost rows; an odd height's repeated one may come first or last.
        const uint8_t* const* rows = frame.src_rows;
        const size_t last = frame.height - 1;
        std::tie(lowest_, highest_) = std::minmax({rows[0], rows[1], rows[last - 1], rows[last]});
    }

    bool decodes() const { return frame_.line_format.decode != nullptr; }

    // Columns to be asked for from now on: those of [begin, end) and the halo.
    // begin: even
    void begin_strip(size_t begin, size_t end) {
        begin_ = begin;
        first_ = begin < kStripHalo ? 0 : begin - kStripHalo;
        const size_t wanted = (end + kStripHalo + 1) & ~size_t{1};
        end_ = wanted < frame_.width ? wanted : frame_.width;
    }
    size_t begin() const { return begin_; }

    // Whether `bytes` before and after row y may be read: when they are rows or between
    // rows, whatever the distance of rows.
    bool may_look_beyond(size_t y, ptrdiff_t bytes) const {
        if (decodes()) return true;
        const uint8_t* row = frame_.src_rows[y];
        return row - lowest_ >= bytes && highest_ - row >= bytes;
    }

    // The strip's part of row y, decoded, to line; the halo goes before it.
    void decode(size_t y, uint8_t* line) const {
        uint8_t* first = line - (begin_ - first_);
        uint8_t* end = first + (end_ - first_);
        frame_.line_format.decode(part_of_row(y), first, end_ - first_);
        std::fill_n(first - kBeyond, kBeyond, 0);
        std::fill_n(end, kBeyond, 0);
        // Measured at 5120x3840: .7 to .95 of the time; at 2448x2048 1.02 to 1.08.
        if (frame_.beyond_caches) prefetch(y + 1);
    }

  private:
    const uint8_t* part_of_row(size_t y) const {
        return frame_.src_rows[y] + first_ / 2 * frame_.line_format.bytes_per_pair;
    }
    // Starts to load the strip's part of row y, if there is one.
    __attribute__((noinline)) void prefetch(size_t y) const {
        if (y >= frame_.height) return;
        // Or the compiler takes this for a function without effects, and drops its calls.
        __asm__ volatile("");
        const uint8_t* row = part_of_row(y);
        const size_t bytes = (end_ - first_) / 2 * frame_.line_format.bytes_per_pair;
        for (size_t i = 0; i < bytes; i += 64) __builtin_prefetch(row + i);
    }

    const BayerFrame& frame_;
    const uint8_t* lowest_;
    const uint8_t* highest_;
    size_t begin_ = 0;
    size_t first_ = 0;
    size_t end_ = 0;
};

// Lines, the last kSlots of which stay. Rows must be asked for in ascending order within
// kSlots of one another.
template <size_t kSlots>
class SampleLines {
  public:
    // memory: aligned, kSlots lines of line_bytes(columns), where a strip has so
    // many columns at most
    SampleLines(const BayerFrame& frame, uint8_t* memory, size_t columns)
        : frame_(frame), reader_(frame), memory_(memory), step_(line_bytes(columns)) {
        hold_nothing();
    }

    void begin_strip(size_t begin, size_t end) {
        reader_.begin_strip(begin, end);
        hold_nothing();
    }

    bool may_look_beyond(size_t y, ptrdiff_t bytes) const {
        return reader_.may_look_beyond(y, bytes);
    }

    // Sample x of row y.
    const uint8_t* at(size_t y, size_t x) {
        if (!reader_.decodes()) return frame_.src_rows[y] + x;
        const size_t slot = y % kSlots;
        uint8_t* line = memory_ + slot * step_ + kLineLead;
        if (held_[slot] != y) {
            reader_.decode(y, line);
            held_[slot] = y;
        }
        return line + x - reader_.begin();
    }

  private:
    void hold_nothing() {
        for (size_t& row : held_) row = ~size_t{0};
    }

    const BayerFrame& frame_;
    LineReader reader_;
    uint8_t* const memory_;
    const size_t step_;
    size_t held_[kSlots];
};

// Calls strip(begin, end) for every strip of the first `width` columns; begin is even. Rows
// that need no decoding are not cut: whole rows, one after the other, are how memory likes
// to be read.
template <size_t kSlots, class F>
void for_each_strip(const BayerFrame& frame, SampleLines<kSlots>& lines, size_t width,
                    size_t most_columns, F strip) {
    if (frame.line_format.decode == nullptr) return strip(size_t{0}, width);
    const size_t columns = strip_columns(width, most_columns);
    for (size_t begin = 0; begin < width; begin += columns) {
        const size_t end = std::min(begin + columns, width);
        lines.begin_strip(begin, end);
        strip(begin, end);
    }
}

}  // namespace imgcnv
