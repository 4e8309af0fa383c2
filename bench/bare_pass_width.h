// One width of the bare pass, see bare_pass.h.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace imgcnv::bench {

// Bytes done of both, in units that keep the ratio of the two sizes; the caller
// does the rest.
struct Progress {
    size_t src, dst;
};

template <int bytes>
Progress bare_pass_units(const uint8_t* src, size_t src_bytes, uint8_t* dst, size_t dst_bytes,
                         bool non_temporal);

}  // namespace imgcnv::bench
