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
    for_each_index<kGreyTargets>([&](auto target) {
        constexpr auto kTarget = static_cast<GreyTarget>(target.value);
        for_each_index<kMonoLayouts>([&](auto layout) {
            constexpr auto kLayout = static_cast<MonoLayout>(layout.value);
            if constexpr (is_needed(kLayout, kTarget)) {
                t.mono[kLayout][kTarget] = Kernels::template mono<kLayout, kTarget>;
            }
        });
    });
    for_each_index<kColorTargets>([&](auto target) {
        constexpr auto kTarget = static_cast<ColorTarget>(target.value);
        for_each_index<kColorLayouts>([&](auto layout) {
            constexpr auto kLayout = static_cast<ColorLayout>(layout.value);
            if constexpr (is_needed(kLayout, kTarget)) {
                t.color[kLayout][kTarget] = Kernels::template color<kLayout, kTarget>;
            }
        });
        for_each_index<kRowStarts>([&](auto start) {
            constexpr auto kStart = static_cast<RowStart>(start.value);
            t.nearest[kStart][kTarget] = Kernels::template nearest<kStart, kTarget>;
            t.bilinear[kStart][kTarget] = Kernels::template bilinear<kStart, kTarget>;
            t.adaptive_color[kStart][kTarget] = Kernels::template adaptive_color<kStart, kTarget>;
        });
    });
    for_each_index<kRowStarts>([&](auto start) {
        constexpr auto kStart = static_cast<RowStart>(start.value);
        t.adaptive_green[kStart] = Kernels::template adaptive_green<kStart>;
        t.block_green[kStart] = Kernels::template block_green<kStart>;
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
