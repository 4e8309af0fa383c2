// Byte permutations as compile-time tables.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace imgcnv {

// A shuffle index with this value yields zero (pshufb).
inline constexpr uint8_t kZeroByte = 0x80;

template <size_t kSize>
struct alignas(kSize) ByteTable {
    uint8_t at[kSize];
};

template <size_t kSize, class F>
consteval ByteTable<kSize> byte_table(F value_of) {
    ByteTable<kSize> table{};
    for (size_t i = 0; i < kSize; ++i) table.at[i] = static_cast<uint8_t>(value_of(i));
    return table;
}

// Three-byte interleave of registers of kSize bytes, kSize mod 3 = 1.
//
// Byte i of output register j is byte g = j kSize + i of the interleaved
// stream: channel g mod 3 of pixel g / 3. Because kSize leaves 1 modulo 3, a
// channel's bytes go to different places in the three outputs:
//
//   channel c is at i = c - j (mod 3) of output j
//
// so that one permutation of a channel serves all three outputs, and each output
// is put together from the three permuted channels by blends.
template <size_t kSize>
struct Interleave3 {
    static_assert(kSize % 3 == 1);

    // Where byte i of the permuted channel comes from.
    static constexpr size_t spread(size_t channel, size_t i) {
        return ((channel + 3 - i % 3) % 3 * kSize + i) / 3;
    }
    // The inverse: where pixel p of the channel is found once the three outputs
    // have been blended into one register.
    static constexpr size_t gather(size_t channel, size_t p) { return (3 * p + channel) % kSize; }
    // The same grey three times: pixel of byte i of output j.
    static constexpr size_t grey(size_t j, size_t i) { return (j * kSize + i) / 3; }
};

}  // namespace imgcnv
