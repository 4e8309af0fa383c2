// The instruction-set levels, from the weakest to the strongest.
#pragma once

#include <span>

#include "simd/kernel_table.h"

namespace imgcnv {

struct Level {
    const char* name;
    const KernelTable* kernels;
    bool (*runs_here)();  // on this CPU, under this operating system
};

// All levels of this processor architecture, weakest first. The first one is plain.
std::span<const Level> levels();

}  // namespace imgcnv
