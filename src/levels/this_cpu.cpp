// The choice of the shipped library. Tests and benchmarks have one of their own instead:
// tests/support/forced_level.cpp.

#include "levels/level.h"

namespace imgcnv {

const KernelTable& kernels_for_this_cpu() {
    const KernelTable* best = nullptr;
    for (const Level& level : levels()) {
        if (level.runs_here()) best = level.kernels;
    }
    return *best;
}

}  // namespace imgcnv
