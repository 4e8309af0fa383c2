// The row functions of one level of instructions.
#pragma once

#include "layouts/kernels.h"
#include "layouts/sample_layout.h"

#include <span>
#include <utility>

namespace frames {

/// Rows between the outermost columns. Lines begin at an even column and may be read one sample
/// before; of `pixels`, which is even, and one sample beyond. Whether the first is a colour site
/// and whether the row's own colour goes first into a pixel is for the caller to say.
struct Demosaic16Row {
    bool color_first;
    bool own_first;
};

struct Demosaic16Kernels {
    /// `across` is the other row of the cell.
    void (*nearest)(const std::uint16_t* line, const std::uint16_t* across, std::uint16_t* out,
                    std::size_t pixels, Demosaic16Row row);
    void (*bilinear)(const std::uint16_t* above, const std::uint16_t* line,
                     const std::uint16_t* below, std::uint16_t* out, std::size_t pixels,
                     Demosaic16Row row);
};

struct KernelTable {
    LayoutKernels unpack[std::size(kSampleLayouts)];
    SampleKernels samples;
    Demosaic16Kernels demosaic;
};

/// Unpack<layout> of every layout, in their order.
template <template <SampleLayout> class Unpack>
constexpr void fill_unpack(LayoutKernels (&unpack)[std::size(kSampleLayouts)]) {
    [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        ((unpack[kIndex] = {Unpack<kSampleLayouts[kIndex]>::to8,
                            Unpack<kSampleLayouts[kIndex]>::to16}),
         ...);
    }
    (std::make_index_sequence<std::size(kSampleLayouts)>());
}

struct Level {
    const char* name;
    const KernelTable* kernels;
    bool (*runs_here)();  // on this CPU, under this operating system
};

/// All levels of this processor architecture, weakest first. The first one is plain.
std::span<const Level> levels();

}  // namespace frames
