#pragma once

#include "pipeline/core_frame.h"
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
    bool streams = false;        ///< of those: they are stored past the caches, and opaque
    std::size_t call = 0;        ///< number of the core call
};

/// What one thread does, in this order.
struct Job {
    std::vector<CoreFrame> calls;
    std::vector<Task> tasks;

    std::size_t number_of(const CoreFrame& call);
};

using Plan = std::vector<Job>;  ///< one per thread; they share no byte of the target

}  // namespace frames
