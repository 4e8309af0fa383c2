#pragma once

#include "guess/prediction_cost.h"

#include <span>

namespace frames {

/// How unlike the two sites of either diagonal of a mosaic's 2x2 cells are. Green stands on one
/// diagonal, red and blue share the other, so the diagonal of green is the more even one. Which of
/// red and blue comes first is nothing the numbers tell: exchanging the two only changes the
/// colours of the scene.
struct GreenSites {
    double falling = 0;  ///< mean difference, first sample of even rows to second of odd rows
    double rising = 0;
    double sums[4] = {};  ///< of the samples at the four sites of a cell, in reading order

    /// Orders GB, GR have green first; RG, BG second.
    bool green_first() const { return falling < rising; }
    /// 0: no difference, 1: one diagonal is perfectly even.
    double certainty() const;
    /// Scenes are warm more often than cold: the brighter of the two other colours is likelier red.
    imgcnv_bayer_order likeliest_order() const;
};

/// Compares each sample with the mean of its four diagonal neighbours. The hypothesis begins where
/// a frame does.
GreenSites green_sites(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

/// How strong patterns of period 2 are beside those of period 4: the sites of a mosaic differ even
/// where noise hides it in single samples; grey pictures have the less of a frequency the higher it
/// is. Above 1: a mosaic.
double mosaic_strength(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

/// What speaks against YUV, in bits per byte; negative: for it. Chroma of pictures lies about 128 and
/// changes less from pixel to pixel than luma does.
double against_yuv(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

}  // namespace frames
