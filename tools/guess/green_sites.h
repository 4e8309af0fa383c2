#pragma once

#include "guess/coding_cost.h"

namespace tool {

/// How unlike the two sites of either diagonal of a mosaic's 2x2 cells are. Green stands on one
/// diagonal, red and blue share the other, so the diagonal of green is the more even one. Which of
/// red and blue comes first is nothing the numbers tell: exchanging the two only changes the
/// colours of the scene.
struct GreenSites {
    double falling = 0;  ///< mean difference, first sample of even rows to second of odd rows
    double rising = 0;

    /// Orders GB, GR have green first; RG, BG second.
    bool greenFirst() const { return falling < rising; }
    /// 0: no difference, 1: one diagonal is perfectly even.
    double certainty() const;
};

/// Compares each sample with the mean of its four diagonal neighbours.
GreenSites greenSites(std::span<const std::uint8_t> bytes, const Reading& reading);

}  // namespace tool
