// Lays a level's kernels out as a KernelTable.
//
// Kernels is a class of variable templates, one for each array of the table, whose arguments are
// the indices into the array. Nobody writes an entry by hand.
#pragma once

#include "simd/kernel_table.h"

namespace imgcnv {

// Calls f with every index below kCount as a constant.
template <int kIndex>
struct Constant {
    static constexpr int value = kIndex;
};
template <int kCount, class F>
constexpr void for_each_index(F f) {
    if constexpr (kCount > 0) {
        for_each_index<kCount - 1>(f);
        f(Constant<kCount - 1>{});
    }
}

template <class Kernels>
constexpr KernelTable table_of(const char* name, const KernelTable* streaming = nullptr) {
    KernelTable t{};
    t.name = name;
    t.streaming = streaming;
    for_each_index<kGreySinks>([&](auto sink) {
        constexpr auto kSink = static_cast<GreySink>(sink.value);
        for_each_index<kMonoLayouts>([&](auto layout) {
            constexpr auto kLayout = static_cast<MonoLayout>(layout.value);
            if constexpr (is_needed(kLayout, kSink)) {
                t.mono[kLayout][kSink] = Kernels::template mono<kLayout, kSink>;
            }
        });
    });
    for_each_index<kTripleSinks>([&](auto sink) {
        constexpr auto kSink = static_cast<TripleSink>(sink.value);
        for_each_index<kColorLayouts>([&](auto layout) {
            constexpr auto kLayout = static_cast<ColorLayout>(layout.value);
            if constexpr (is_needed(kLayout, kSink)) {
                t.color[kLayout][kSink] = Kernels::template color<kLayout, kSink>;
            }
        });
        for_each_index<kPhases>([&](auto phase) {
            constexpr auto kPhase = static_cast<Phase>(phase.value);
            t.nearest[kPhase][kSink] = Kernels::template nearest<kPhase, kSink>;
            t.bilinear[kPhase][kSink] = Kernels::template bilinear<kPhase, kSink>;
            for_each_index<kEdgeGreens>([&](auto green) {
                constexpr auto kGreen = static_cast<EdgeGreen>(green.value);
                t.bilinear_edge[kGreen][kPhase][kSink] =
                    Kernels::template bilinear_edge<kGreen, kPhase, kSink>;
            });
            for_each_index<kAdaptiveRows>([&](auto row) {
                constexpr auto kRow = static_cast<AdaptiveRow>(row.value);
                t.adaptive_color[kRow][kPhase][kSink] =
                    Kernels::template adaptive_color<kRow, kPhase, kSink>;
            });
        });
    });
    for_each_index<kPhases>([&](auto phase) {
        constexpr auto kPhase = static_cast<Phase>(phase.value);
        t.adaptive_green[kPhase] = Kernels::template adaptive_green<kPhase>;
        t.block_green[kPhase] = Kernels::template block_green<kPhase>;
    });
    for_each_index<kPixelSizes>([&](auto size) {
        constexpr auto kSize = static_cast<PixelSize>(size.value);
        t.flip_h[kSize] = Kernels::template flip_h<kSize>;
        t.rotate90[kSize] = Kernels::template rotate90<kSize>;
        t.rotate270[kSize] = Kernels::template rotate270<kSize>;
    });
    t.flip_v = Kernels::flip_v;
    return t;
}

}  // namespace imgcnv
