#include "bare_pass.h"

#include <algorithm>
#include <cstring>

#include "bare_pass_width.h"

namespace imgcnv::bench {

int bare_pass_width() {
    return __builtin_cpu_supports("avx512f") ? 64 : __builtin_cpu_supports("avx2") ? 32 : 16;
}

void bare_pass(const uint8_t* src, size_t src_bytes, uint8_t* dst, size_t dst_bytes,
               Stores stores) {
    static const auto units = bare_pass_width() == 64   ? bare_pass_units<64>
                              : bare_pass_width() == 32 ? bare_pass_units<32>
                                                        : bare_pass_units<16>;
    const Progress done = units(src, src_bytes, dst, dst_bytes, stores == Stores::kNonTemporal);
    // Under a unit is left, or, of sizes in no simple ratio, everything.
    const size_t src_left = src_bytes - done.src, dst_left = dst_bytes - done.dst;
    const size_t both = std::min(src_left, dst_left);
    std::memcpy(dst + done.dst, src + done.src, both);
    if (dst_left > both) std::memset(dst + done.dst + both, 0, dst_left - both);
    uint8_t sum = 0;
    for (size_t i = both; i < src_left; ++i) sum ^= src[done.src + i];
    asm volatile("" : : "r"(sum));
}

}  // namespace imgcnv::bench
