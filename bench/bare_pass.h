// The least that moving these bytes costs: ordinary loads and stores over
// exactly the source and the destination, and nothing else. What a conversion
// takes beyond it is its arithmetic.
#pragma once

#include <cstddef>
#include <cstdint>

namespace imgcnv::bench {

enum class Stores { kOrdinary, kNonTemporal };

// With the widest vectors of this CPU. `dst` is aligned to 64 bytes.
void bare_pass(const uint8_t* src, size_t src_bytes, uint8_t* dst, size_t dst_bytes, Stores stores);

// Bytes of one load or store.
int bare_pass_width();

}  // namespace imgcnv::bench
