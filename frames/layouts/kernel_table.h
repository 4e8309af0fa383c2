// The row functions of one level of instructions.
#pragma once

#include "layouts/kernels.h"
#include "layouts/sample_layout.h"

#include <span>
#include <utility>

namespace frames {

/// How the samples of a format lie: RGB and its kin are rows of bytes or words.
SampleLayout sample_layout(const Format& format, bool big_endian);

/// What a row of a mosaic is: whether its first pixel below is a chroma site, and whether the
/// colour that the row has samples of goes first into a pixel. Passed by reference: in a register
/// its fields would be put together in memory, and reading them at once waits for all stores
/// before.
struct Demosaic16Row {
    bool chroma_first;
    bool own_first;
    int depth;
};

/// Null functions: the plain level. Rows are `least_pixels` long at least.
struct Demosaic16Kernels {
    std::size_t least_pixels;
    /// `across` is the other row of the cell.
    void (*nearest)(const std::uint16_t* line, const std::uint16_t* across, std::uint16_t* out,
                    std::size_t pixels, const Demosaic16Row& row);
    /// Whole rows, 2 pixels longer, of which the first `width_out` pixels are made, all or all but
    /// the last. The sample inside a row's end stands for the one beyond it, too.
    void (*bilinear)(const std::uint16_t* above, const std::uint16_t* line,
                     const std::uint16_t* below, std::uint16_t* out, std::size_t width,
                     std::size_t width_out, const Demosaic16Row& row);
    /// Rows y - 2 to y + 2, of which two samples more are looked at on either side. Every pair of
    /// columns has one difference, colour less green, that of its chroma site.
    void (*adaptive_green)(const std::uint16_t* const* rows, std::ptrdiff_t column,
                           std::uint16_t* green, std::int32_t* differences, std::size_t pixels,
                           const Demosaic16Row& row);
    /// Differences of rows y - 1 to y + 1, of which one pair more is looked at on either side.
    void (*adaptive_color)(const std::uint16_t* line, const std::uint16_t* green,
                           const std::int32_t* const* differences, std::uint16_t* out,
                           std::size_t pixels, const Demosaic16Row& row);
};

/// demosaic16() with the kernels of a level.
void demosaic16(const Demosaic16Kernels& kernels, const Demosaic16& job,
                const std::uint16_t* const* rows, std::int64_t first, std::int64_t count,
                std::uint16_t* out, std::int64_t out_stride_words, std::int64_t width_out);

/// Looks bytes up one by one: of the plain level and those of 16-byte vectors.
void curve_row(std::uint8_t* pixels, std::size_t count, int channels, const std::uint8_t* curve);

/// The row functions of one level. No demosaicing ones: the plain level.
struct KernelTable {
    LayoutKernels unpack[std::size(kSampleLayouts)];
    SampleKernels samples;
    Demosaic16Kernels demosaic;
};

struct Level {
    const char* name;
    const KernelTable* kernels;
    bool (*runs_here)();  // on this CPU, under this operating system
};

/// All levels of this processor architecture, weakest first. The first one is plain.
std::span<const Level> levels();

/// Those of the best level that runs here.
const KernelTable& best_kernels();

}  // namespace frames
