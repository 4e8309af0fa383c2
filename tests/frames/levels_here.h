// The engine's levels that run on this CPU.
#pragma once

#include "layouts/kernel_table.h"

#include <gtest/gtest.h>

#include <vector>

namespace frames::testing {

inline std::vector<Level> levels_here() {
    std::vector<Level> here;
    for (const Level& level : levels()) {
        if (level.runs_here())
            here.push_back(level);
        else
            ::testing::Test::RecordProperty(level.name, "not tested: this CPU lacks it");
    }
    return here;
}

}  // namespace frames::testing
