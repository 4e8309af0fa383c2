#pragma once

#include "guess/prediction_cost.h"

#include <span>

namespace frames {

/// How the four sites of 2x2 cells differ. In a mosaic green stands on one diagonal of the cells,
/// red and blue share the other, so the two means of the diagonal of green are the more alike.
/// Which of red and blue comes first is nothing the numbers tell: exchanging the two only changes
/// the colours of the scene.
struct MosaicSites {
    double falling = 0;     ///< mean difference, first sample of even rows to second of odd rows
    double rising = 0;      ///< mean difference, second of even rows to first of odd rows
    double sums[4] = {};    ///< of the samples at the four sites, in reading order
    double strength = 1;    ///< of patterns of period 2 beside those of period 4, which scenes have
    double diagonals = 0;   ///< mean difference of the diagonals beside its standard error
    bool is_flat = false;   ///< whether all blocks are the same: nothing but the sites differs
    bool has_green = true;  ///< whether a diagonal is as even as rows and columns are

    /// What speaks against green at the first site (GB, GR) or at the second (RG, BG), in bits per
    /// byte: an uneven diagonal, and one that is dimmer than the other, since before white balance
    /// green is the brightest colour.
    double against_green(bool first) const;
    bool green_first() const;
    /// Scenes are warm more often than cold: the brighter of the two other colours is likelier red.
    imgcnv_bayer_order likeliest_order() const;
    /// What speaks against a mosaic, or against grey, in bits per byte.
    double against(bool is_mosaic) const;

  private:
    double against_flat(bool is_mosaic) const;
    /// 0: no difference, 1: one diagonal is perfectly even.
    double certainty() const;
    /// The differences beside the brightness: edges and noise of brighter sites are larger, too.
    double of_falling() const;
    double of_rising() const;
};

/// Compares the means of sites over blocks, in which neither noise nor edges hide the colours. The
/// hypothesis begins where a frame does.
MosaicSites mosaic_sites(std::span<const std::uint8_t> window, const Hypothesis& hypothesis);

}  // namespace frames
