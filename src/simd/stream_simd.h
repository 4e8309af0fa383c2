// The copy past the caches. See StreamKernel.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace imgcnv {

template <class V>
__attribute__((flatten)) void stream_bytes(const uint8_t* src, uint8_t* dst, size_t bytes) {
    constexpr size_t kLine = 64;
    const size_t misaligned = reinterpret_cast<uintptr_t>(dst) % kLine;
    size_t head = misaligned == 0 ? 0 : kLine - misaligned;
    if (head > bytes) head = bytes;
    memcpy(dst, src, head);
    size_t i = head;
    for (; i + kLine <= bytes; i += kLine) {
#pragma GCC unroll 4
        for (size_t k = 0; k < kLine; k += V::kBytes) {
            V::store_past_caches(dst + i + k, V::load(src + i + k));
        }
    }
    memcpy(dst + i, src + i, bytes - i);
}

}  // namespace imgcnv
