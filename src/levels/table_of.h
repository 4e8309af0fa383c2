// Lays a level's kernels out as a KernelTable.
//
// Kernels is a class of variable templates, one for each array of the table, whose arguments are
// the indices into the array. Nobody writes an entry by hand.
#pragma once

#include "simd/kernel_table.h"

namespace imgcnv {

// Calls f with every index below kCount as a constant.
template <auto kIndex>
struct Constant {};
template <auto kCount, int kIndex = 0, class F>
constexpr void for_each_index(F f) {
    if constexpr (kIndex < kCount) {
        f(Constant<static_cast<decltype(kCount)>(kIndex)>{});
        for_each_index<kCount, kIndex + 1>(f);
    }
}

template <class Kernels>
constexpr KernelTable table_of(const char* name, const KernelTable* streaming = nullptr) {
    KernelTable t{};
    t.name = name;
    t.streaming = streaming;
    for_each_index<kGreyTargets>([&]<GreyTarget kTarget>(Constant<kTarget>) {
        for_each_index<kMonoLayouts>([&]<MonoLayout kLayout>(Constant<kLayout>) {
            if constexpr (is_needed(kLayout, kTarget)) {
                t.mono[kLayout][kTarget] = Kernels::template mono<kLayout, kTarget>;
            }
        });
    });
    for_each_index<kColorTargets>([&]<ColorTarget kTarget>(Constant<kTarget>) {
        for_each_index<kColorLayouts>([&]<ColorLayout kLayout>(Constant<kLayout>) {
            if constexpr (is_needed(kLayout, kTarget)) {
                t.color[kLayout][kTarget] = Kernels::template color<kLayout, kTarget>;
            }
        });
        for_each_index<kRowStarts>([&]<RowStart kStart>(Constant<kStart>) {
            t.nearest[kStart][kTarget] = Kernels::template nearest<kStart, kTarget>;
            t.bilinear[kStart][kTarget] = Kernels::template bilinear<kStart, kTarget>;
            t.adaptive_color[kStart][kTarget] = Kernels::template adaptive_color<kStart, kTarget>;
        });
    });
    for_each_index<kRowStarts>([&]<RowStart kStart>(Constant<kStart>) {
        t.adaptive_green[kStart] = Kernels::template adaptive_green<kStart>;
        t.block_green[kStart] = Kernels::template block_green<kStart>;
    });
    for_each_index<kPixelSizes>([&]<PixelSize kSize>(Constant<kSize>) {
        t.flip_h[kSize] = Kernels::template flip_h<kSize>;
        t.rotate90[kSize] = Kernels::template rotate90<kSize>;
        t.rotate270[kSize] = Kernels::template rotate270<kSize>;
    });
    t.flip_v = Kernels::flip_v;
    return t;
}

}  // namespace imgcnv
