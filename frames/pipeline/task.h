#pragma once

#include "pipeline/core_call.h"
#include "pipeline/rectangle.h"

#include <cstdint>
#include <vector>

namespace frames {

/// How the pixels of a task are made.
enum class Way {
    kSamples,  ///< the samples are the picture
    kCore,     ///< one call of libimgcnv
    kWide,     ///< 16-bit samples, demosaiced here
    kColumns,  ///< a few 8-bit columns, demosaiced here
};

/// One part of a picture: what is made at once, and what of it is kept.
struct Task {
    Way way = Way::kSamples;
    Rectangle made;  ///< with the context that the edges of `keep` need
    Rectangle keep;
    bool reads_frame = false;    ///< libimgcnv reads the frame itself, else samples of it
    bool writes_target = false;  ///< else the pixels are made in the scratch and stored
    /// Rows of `made` above `keep`, right in the target already, that are saved and put back.
    std::int64_t saved_rows = 0;
    std::size_t call = 0;  ///< number of the core call
};

/// What one thread does, in this order.
struct Job {
    std::vector<CoreFrame> calls;
    std::vector<Task> tasks;

    std::size_t number_of(const CoreFrame& call);
};

struct Plan {
    std::vector<Job> jobs;  ///< one per thread; they share no byte of the target
    /// Tasks of the first thread once all jobs are done: rows whose context another thread's rows
    /// overwrote or libimgcnv does not complete.
    std::vector<Task> mending;
};

}  // namespace frames
