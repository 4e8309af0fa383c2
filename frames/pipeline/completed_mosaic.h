#pragma once

#include "pipeline/rectangle.h"
#include "pipeline/wish.h"

#include <algorithm>
#include <utility>

namespace frames {

/// A mosaic with mirrored rows and columns, so that it has an even width and height and an order
/// that the methods know: GR is continued upwards and is one in BG order then.
struct CompletedMosaic {
    /// More than any method reaches.
    static constexpr std::int64_t kMostAbove = 5;

    Demosaic16 job{};
    std::int64_t rows_above = 0;  ///< row 0 of the frame is this one of the mosaic

    CompletedMosaic(const Geometry& frame, const Wish& wish) {
        const bool is_gr = frame.format->order == IMGCNV_ORDER_GR;
        if (is_gr) rows_above = kMostAbove;
        job.order = is_gr ? IMGCNV_ORDER_BG : static_cast<imgcnv_bayer_order>(frame.format->order);
        job.method = wish.method;
        job.depth = !wish.is_wide() ? 8 : wish.full_scale ? 16 : frame.format->depth;
        job.blue_first = wish.is_blue_first();
        job.width = frame.width + frame.width % 2;
        job.height = frame.height + rows_above + (frame.height + rows_above) % 2;
    }

    /// The first row that a part depends on, and the one after the last, counted as the frame's.
    std::pair<std::int64_t, std::int64_t> rows_around(const Rectangle& keep) const {
        const auto reach = demosaic_reach(job.method);
        return {std::max(keep.first_row - reach, -rows_above),
                std::min(keep.last_row + reach, job.height - rows_above)};
    }
};

}  // namespace frames
