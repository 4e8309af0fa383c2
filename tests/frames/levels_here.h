// The engine's levels that run on this CPU, and the emulated one.
#pragma once

#include "layouts/kernel_table.h"

#include <gtest/gtest.h>

#include <vector>

namespace frames {

/// The AVX-512 level for CPUs without it, where CMakeLists.txt links it.
extern const KernelTable kEmulatedAvx512Kernels __attribute__((weak));

}  // namespace frames

namespace frames::testing {

inline std::vector<Level> levels_here() {
    std::vector<Level> here;
    for (const Level& level : levels()) {
        if (level.runs_here())
            here.push_back(level);
        else
            ::testing::Test::RecordProperty(level.name, "not tested: this CPU lacks it");
    }
#if defined(__x86_64__)
    const KernelTable* emulated = &kEmulatedAvx512Kernels;
    const auto has_avx2 = [] { return __builtin_cpu_supports("avx2") != 0; };
    if (emulated != nullptr && has_avx2()) here.push_back({"avx512-emulated", emulated, has_avx2});
#endif
    return here;
}

}  // namespace frames::testing
