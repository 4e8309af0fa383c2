#pragma once

#include "guess/placement.h"
#include "guess/row_steps.h"

#include <algorithm>
#include <cstdint>

namespace frames {

constexpr std::int64_t kFewestRows = 16;  ///< of a frame of an unknown height
constexpr std::int64_t kMostFrames = 64;  ///< of an unknown height

/// What rows say about several frames that follow each other in a file.
class FrameSeries {
  public:
    FrameSeries(RowSteps& steps, const Hypothesis& hypothesis);

    /// Heights of one of several frames: at most five times as wide as high, or 2.5 times as high
    /// as wide.
    std::int64_t lowest() const { return std::max(kFewestRows, (hypothesis_.width + 4) / 5); }
    std::int64_t highest() const { return hypothesis_.width * 5 / 2; }
    /// The number of frames that divides the rows at jumps; 1 when no division is clear.
    std::int64_t frames_by_jumps(std::int64_t skip, std::int64_t rows);
    /// The number of frames that divides the rows into pictures of one scene; 1 where none does.
    std::int64_t frames_by_scene(std::int64_t skip, std::int64_t rows);
    /// How much each frame shows what the one before showed: 0 where rows are as far from the same
    /// rows of the next frame as from others, 1 where they are the same. It is the smaller of two
    /// measures: the likeness of all rows together, since the empty rows of a page are like many
    /// others, and the mean of the single rows' likeness, since one row that differs is no scene.
    double scene_likeness(const Placement& placement);
    /// The mean step from the last rows of frames to the first ones of the next; -1: not known.
    RowStep boundary_step(const Placement& placement);

  private:
    RowSteps& steps_;
    const Hypothesis& hypothesis_;
    std::int64_t pitch_;
};

}  // namespace frames
