// The table of a level with vectors.
#pragma once

#include "layouts/demosaic16_simd.h"
#include "layouts/samples_simd.h"
#include "layouts/unpack_simd.h"

namespace frames {

template <class V>
constexpr KernelTable vector_kernels() {
    KernelTable table{};
    [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        ((table.unpack[kIndex] = {Unpack<V, kSampleLayouts[kIndex]>::to8,
                                  Unpack<V, kSampleLayouts[kIndex]>::to16,
                                  Unpack<V, kSampleLayouts[kIndex]>::to8_levels}),
         ...);
    }
    (std::make_index_sequence<std::size(kSampleLayouts)>());
    table.samples = {drop_alpha8_row<V>, opaque_row<V>,     exchange16_row<V>, levels_row<V>,
                     full_scale_row<V>,  full_range_row<V>, curve_row};
    if constexpr (V::kLanes >= 2) table.samples.curve = curve_vectors_row<V>;
    table.demosaic = {kVectorBytes<V> / 2, nearest16_row<V>, bilinear16_row<V>,
                      adaptive16_green_row<V>, adaptive16_color_row<V>};
    return table;
}

}  // namespace frames
