// The rows of a mosaic as lines of 8-bit samples, a strip of columns at a time.
//
// 8-bit rows are used where they lie. Others are decoded into a few lines on the stack, so that
// nothing is allocated and the working set stays in the caches. Strips are as wide as these
// lines allow: every strip goes through all pages of the frame again.
#pragma once

#include <algorithm>

#include "bayer/bayer_frame.h"

namespace imgcnv {

// Samples that a line holds on either side of its strip, as far as the frame goes (even).
inline constexpr size_t kStripHalo = 4;

// A line in memory begins at a cache line, with room for the halo before it.
inline constexpr size_t kLineLead = 64;
constexpr size_t line_bytes(size_t columns) { return kLineLead + columns + 64; }

// The stack that a method's lines may take. Callers' threads may have 64 KiB, of which the
// kernels, a signal handler and the caller itself need their share.
inline constexpr size_t kMostLineBytes = size_t{27} << 10;

struct Strip {
    size_t begin;  // even
    size_t end;
    bool is_first;
    bool is_last;

    size_t columns() const { return end - begin; }
    // What kernels take, which go from edge to edge: the last column of an odd width has no
    // partner, and is the border's anyway.
    size_t paired_columns() const { return columns() & ~size_t{1}; }
};

// Calls f(strip) for strips of equal size, of at most `most` columns (a multiple of 64).
template <class F>
void for_each_strip(size_t width, size_t most, F f) {
    const size_t strips = (width + most - 1) / most;
    const size_t columns = ((width + strips - 1) / strips + 63) / 64 * 64;
    for (size_t begin = 0; begin < width; begin += columns) {
        const size_t end = std::min(begin + columns, width);
        f(Strip{begin, end, begin == 0, end == width});
    }
}

// Lines of equal size in one piece of memory, handed out in turn.
class LineRing {
  public:
    LineRing() = default;
    LineRing(uint8_t* memory, size_t lines, size_t columns)
        : memory_(memory), step_(line_bytes(columns)), bytes_(lines * step_) {}

    // Column 0 of the line that was handed out longest ago.
    uint8_t* next() {
        uint8_t* line = memory_ + at_ + kLineLead;
        at_ = at_ + step_ == bytes_ ? 0 : at_ + step_;
        return line;
    }
    uint8_t* end() const { return memory_ + bytes_; }

  private:
    uint8_t* memory_ = nullptr;
    size_t step_ = 0, bytes_ = 0, at_ = 0;
};

class SampleLines {
  public:
    // Lines of them may be read `reach` samples beyond the frame, at most kStripHalo. If
    // `defined`, these samples never are padding, which callers may have left uninitialised.
    SampleLines(const BayerFrame& frame, LineRing ring, ptrdiff_t reach, bool defined)
        : frame_(frame), ring_(ring), in_place_(is_in_place(frame, reach, defined)) {
        const uint8_t* const* rows = frame.src_rows;
        const size_t last = frame.height - 1;
        // The outermost rows in memory; an odd height's repeated one may come first or last.
        const auto [lowest, highest] = std::minmax({rows[0], rows[1], rows[last - 1], rows[last]});
        lowest_ = reinterpret_cast<uintptr_t>(lowest);
        highest_ = reinterpret_cast<uintptr_t>(highest);
    }

    // Whether all rows but the outermost ones are such lines already.
    static bool is_in_place(const BayerFrame& frame, ptrdiff_t reach, bool defined) {
        const ptrdiff_t distance = std::abs(frame.src_rows[1] - frame.src_rows[0]);
        const bool has_padding = distance > static_cast<ptrdiff_t>(frame.width);
        return frame.line_format.is_8_bit && distance >= reach && !(has_padding && defined);
    }

    void begin_strip(const Strip& strip) {
        begin_ = strip.begin;
        first_ = std::max(strip.begin, kStripHalo) - kStripHalo;
        end_ = std::min((strip.end + kStripHalo + 1) & ~size_t{1}, frame_.width);
    }

    // Row y from the strip's first column on, to be read up to `reach` samples beyond the frame.
    // A line of the ring stays until the ring comes round to it.
    const uint8_t* line(size_t y, uintptr_t reach) {
        const uint8_t* row = frame_.src_rows[y];
        const auto at = reinterpret_cast<uintptr_t>(row);
        // What lies between rows may be read, whatever their distance.
        if (in_place_ && at - lowest_ >= reach && highest_ - at >= reach) return row + begin_;
        uint8_t* line = ring_.next();
        decode(y, line);
        return line;
    }

  private:
    // The strip's part of row y to `line`, between zeros.
    void decode(size_t y, uint8_t* line) const {
        uint8_t* first = line - (begin_ - first_);
        uint8_t* end = first + (end_ - first_);
        const LineFormat& format = frame_.line_format;
        format.decode(format.decoder, part_of_row(y), y, first, end_ - first_);
        std::fill_n(first - kStripHalo, kStripHalo, uint8_t{0});
        std::fill_n(end, kStripHalo, uint8_t{0});
        if (frame_.beyond_caches) prefetch(y + 1);
    }
    const uint8_t* part_of_row(size_t y) const {
        return frame_.src_rows[y] + first_ * frame_.line_format.bits / 8;
    }
    // Starts to load the strip's part of row y, if there is one.
    __attribute__((noinline)) void prefetch(size_t y) const {
        if (y >= frame_.height) return;
        // Keeps GCC from treating the function as pure and dropping the call.
        __asm__ volatile("");
        const uint8_t* row = part_of_row(y);
        const size_t bytes = (end_ - first_) * frame_.line_format.bits / 8;
        for (size_t i = 0; i < bytes; i += 64) __builtin_prefetch(row + i);
    }

    const BayerFrame& frame_;
    LineRing ring_;
    const bool in_place_;
    uintptr_t lowest_, highest_;  // of all rows
    size_t begin_ = 0, first_ = 0, end_ = 0;
};

}  // namespace imgcnv
