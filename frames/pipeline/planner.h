#pragma once

#include "pipeline/source_rows.h"
#include "pipeline/task.h"
#include "pipeline/wish.h"

namespace frames {

/// Divides the making of a picture into tasks.
///
/// Threads and cache blocking are one mechanism: bands of rows. A band of a mosaic is made with the
/// rows around it that it depends on, whose pixels are dropped. Where the target lets libimgcnv
/// write into it, bands are made there; elsewhere each is made in scratch memory and stored.
class Planner {
  public:
    Planner(const Geometry& frame, const Wish& wish, const SourceRows& source);

    /// `fits`: false when a single row is too long for libimgcnv.
    Plan plan(bool& fits);

  private:
    struct Rows {
        std::int64_t first;
        std::int64_t last;
    };

    Way way() const;
    bool core_reads_frame(const Rectangle& made) const;
    bool core_reads_lines(const Rectangle& made) const;
    bool writes_whole_rows() const;
    std::int64_t context() const;
    std::int64_t band_rows() const;
    std::int64_t whole_bytes() const;
    bool goes_over_pixels() const { return wish_.has_alpha() || !wish_.curve.empty(); }
    int threads() const;
    std::vector<Rows> slabs() const;

    void plan_bands(const Rows& slab, Job& job);
    void plan_last_columns(const Rows& slab, Job& job);

    Rectangle with_context(const Rectangle& keep) const;
    Task band(const Rectangle& keep, Job& job);
    CoreFrame core_frame(const Task& task) const;
    std::int64_t core_width(const Rectangle& made) const;

    const Geometry& frame_;
    const Wish& wish_;
    const SourceRows& source_;
    bool demosaics_;
    bool in_place_;        ///< pixels are made in the target
    std::int64_t origin_;  ///< the first row whose order libimgcnv has: 1 for GR
    bool fits_ = true;
};

}  // namespace frames
