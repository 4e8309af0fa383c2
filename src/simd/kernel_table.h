// The row kernels of one instruction-set level.
//
// A level is one constant table of these functions. The routines in src/mono,
// src/color and src/bayer walk a frame and call them; they are the same for
// every level. Plain C types only: this header is seen by files compiled for
// other instruction sets.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace imgcnv {

// How monochrome samples lie in memory, and how they become 8 bits.
enum MonoLayout : int {
    kBits1,    // 8 pixels per byte, first in bit 0: 0x00 or 0xFF
    kNibbles,  // 2 pixels per byte, first in bits 0..3: value x 16
    kBytes,    // 1 byte per pixel
    kWords10,  // 16-bit little-endian words: bits 2..9
    kWords12,  // bits 4..11
    kWords16,  // bits 8..15
    kPacked,   // 2 pixels in 3 bytes, 10 or 12 bits: bytes 0 and 2
    kMonoLayouts
};

// Samples that share bytes: a row begins with a group.
struct SampleGroup {
    int samples;
    int bytes;
};
constexpr SampleGroup group_of(MonoLayout layout) {
    if (layout == kBits1) return {8, 1};
    if (layout == kNibbles) return {2, 1};
    if (layout == kBytes) return {1, 1};
    if (layout == kPacked) return {2, 3};
    return {1, 2};
}

// The bytes of a destination pixel that a grey value g becomes: g; g g g; g g g 0.
enum GreyTarget : int { kGrey1, kGrey3, kGrey4, kGreyTargets };
constexpr size_t bytes_of(GreyTarget target) {
    return target == kGrey1 ? 1 : target == kGrey3 ? 3 : 4;
}

enum ColorLayout : int {
    kRgb8,        // three bytes per pixel, R G B or B G R
    kYuv444,      // U Y V
    kYuv422Uyvy,  // U Y0 V Y1
    kYuv422Yuyv,  // Y0 U Y1 V
    kYuv411,      // U Y0 Y1 V Y2 Y3
    kColorLayouts
};

// The bytes of a destination pixel that three channels (a, b, c) become. b is green. Whether a is
// red or blue is all that tells RGB from BGR, and the rows of a mosaic that have red samples from
// those that have blue ones.
enum ColorTarget : int {
    kLumaRedFirst,  // grey, a = red
    kLumaRedLast,   // grey, c = red
    kAbc,           // a b c: RGB24 where a is red
    kCba,           // c b a: BGR24 where a is red
    kAbc0,          // a b c 0
    kCba0,          // c b a 0
    kColorTargets
};

// What a mosaic row (or a part of it) begins with: a chroma site, where red or blue was sampled, or
// a green one.
enum RowStart : int { kChromaFirst, kGreenFirst, kRowStarts };

// Converts `pixels` pixels that lie one after the other: of kPacked and YUV a whole number of
// groups, of kBits1 and kNibbles also a part of the last byte.
using RowKernel = void (*)(const uint8_t* src, uint8_t* dst, size_t pixels);

// Two mosaic rows of `pixels` (even) samples into two output rows. a is the
// colour of the even row, c that of the odd row; the even row tells how they start.
using NearestKernel = void (*)(const uint8_t* even, const uint8_t* odd, uint8_t* dst_even,
                               uint8_t* dst_odd, size_t pixels);

// One output row of a mosaic from lines of 8-bit samples. Each line pointer
// points at the first pixel; one sample on either side of the `pixels` is read.
// a is the row's own colour, c the other one.
using BilinearKernel = void (*)(const uint8_t* above, const uint8_t* line, const uint8_t* below,
                                uint8_t* dst, size_t pixels);

// Where the colours of a row come from in the adaptive method, at the first pixel
// of a pair of columns.
struct AdaptiveLines {
    const uint8_t* line;            // the row's samples
    const int16_t* differences[3];  // of rows y-1, y, y+1: see below
};

// Adaptive green of one row from a column of lines[0..4] on, which are rows y-2..y+2; two
// samples on either side are read. For every pair of pixels, the colour difference at the pair's
// chroma site is stored: its sample minus its green. Colours need nothing else of green.
using AdaptiveGreenKernel = void (*)(const uint8_t* const lines[5], ptrdiff_t column,
                                     int16_t* differences, size_t pixels);

// The same for a row whose 2x2 blocks stand for themselves, as along the edges: green at a chroma
// site is the mean of the block's two greens. `paired` is the block's other row; `pixels` is even.
using BlockGreenKernel = void (*)(const uint8_t* line, const uint8_t* paired, int16_t* differences,
                                  size_t pixels);

// Adaptive colour of one row; one pair on either side is read.
using AdaptiveColorKernel = void (*)(const AdaptiveLines& lines, uint8_t* dst, size_t pixels);

// Bytes per pixel of a picture that is flipped or rotated.
enum PixelSize : int { kOneByte, kThreeBytes, kPixelSizes };
constexpr size_t bytes_of(PixelSize size) { return size == kOneByte ? 1 : 3; }

// Flips or rotates a whole picture.
struct ImageSize {
    size_t width;
    size_t height;
};
using RotateKernel = void (*)(const uint8_t* src, uint8_t* dst, ImageSize source);

// Which kernels there are; the others' places in the table are null, for no conversion needs them:
// Mono1p becomes Mono8 only, RGB8 in its own order is a copy, and of YUV red always comes first.
constexpr bool is_needed(MonoLayout layout, GreyTarget target) {
    return layout != kBits1 || target == kGrey1;
}
constexpr bool is_needed(ColorLayout layout, ColorTarget target) {
    return target != (layout == kRgb8 ? kAbc : kLumaRedLast);
}

struct KernelTable {
    const char* name;
    // The same for frames that the caches do not hold: kernels that gain by it use streaming
    // stores, which want a fence once the frame is done. Null: there is none.
    const KernelTable* streaming;
    RowKernel mono[kMonoLayouts][kGreyTargets];
    RowKernel color[kColorLayouts][kColorTargets];
    NearestKernel nearest[kRowStarts][kColorTargets];
    BilinearKernel bilinear[kRowStarts][kColorTargets];
    AdaptiveGreenKernel adaptive_green[kRowStarts];
    BlockGreenKernel block_green[kRowStarts];
    AdaptiveColorKernel adaptive_color[kRowStarts][kColorTargets];
    RotateKernel flip_h[kPixelSizes];  // the pixels of every row in reverse order
    RotateKernel flip_v;               // the rows in reverse order, of pixels of 1 byte
    RotateKernel rotate90[kPixelSizes];
    RotateKernel rotate270[kPixelSizes];
};

// The strongest level that this CPU runs: a pure function of the CPU, without state, asked once
// a conversion (a few loads). Declared here, below all kernels; src/levels defines it.
const KernelTable& kernels_for_this_cpu();

}  // namespace imgcnv
