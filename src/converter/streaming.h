// Whether and how a frame's destination is written past the caches.
//
// A frame whose source and destination do not fit into the last-level cache is
// written 20 to 40 % faster with non-temporal stores, which spare the reading of
// the lines they overwrite; a frame that fits is written several times slower.
// Kernels stay as they are: they convert a piece of a row into a buffer on the
// stack, in the first-level cache, and that is copied out. Non-temporal stores in
// the kernels themselves would want aligned rows and a single stream.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/kernel_table.h"

namespace imgcnv {

bool is_worth_streaming(const KernelTable& kernels, size_t src_bytes, size_t dst_bytes);

// To be called after the last streamed byte of a frame.
void finish_streaming();

}  // namespace imgcnv
