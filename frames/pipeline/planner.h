#pragma once

#include "pipeline/source_rows.h"
#include "pipeline/task.h"
#include "pipeline/wish.h"

namespace frames {

/// Divides the making of a picture into tasks.
///
/// Threads and cache blocking are one mechanism: bands of rows. Where the target lets libimgcnv
/// write into it, bands lie one after the other there; the context rows that a band overwrites are
/// put back after it, and the rows beside a cut between two threads are mended at the end.
/// Elsewhere each band is made in scratch memory, with its context, and stored.
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
    bool writes_whole_rows() const;
    std::int64_t context() const;
    std::int64_t band_rows() const;
    int threads() const;
    std::vector<Rows> slabs() const;

    void plan_bands(const Rows& slab, Job& job);
    void plan_stored(const Rows& slab, Job& job);
    void plan_last_columns(const Rows& slab, Job& job);
    void plan_mending(const std::vector<Rows>& slabs, Plan& plan);

    Rectangle with_context(const Rectangle& keep) const;
    Task part(Task task, Job& job);
    Task stored(const Rectangle& keep, Job& job);
    CoreFrame core_frame(const Task& task) const;
    std::int64_t core_width(const Rectangle& made) const;

    const Geometry& frame_;
    const Wish& wish_;
    const SourceRows& source_;
    bool demosaics_;
    bool in_place_;        ///< bands lie one after the other in the target, where they are made
    std::int64_t origin_;  ///< the first row whose order libimgcnv has: 1 for GR
    bool fits_ = true;
};

}  // namespace frames
