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

// Picks 16 of 24 bytes that lie in two registers: bytes 0..15 and bytes 8..23.
// byte_of(i) is the byte for place i, or kZeroByte.
struct Pick24 {
    ByteTable<16> head;
    ByteTable<16> tail;
};

template <class F>
consteval Pick24 pick24(F byte_of) {
    Pick24 pick{};
    for (size_t i = 0; i < 16; ++i) {
        const size_t byte = byte_of(i);
        pick.head.at[i] = byte < 16 ? static_cast<uint8_t>(byte) : kZeroByte;
        pick.tail.at[i] = byte >= 16 && byte < 24 ? static_cast<uint8_t>(byte - 8) : kZeroByte;
    }
    return pick;
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

    static constexpr size_t output_of(size_t channel, size_t i) {
        return (channel + 3 - i % 3) % 3;
    }
    // Where byte i of the permuted channel comes from.
    static consteval ByteTable<kSize> spread(size_t channel) {
        return byte_table<kSize>([=](size_t i) { return (output_of(channel, i) * kSize + i) / 3; });
    }
    // The inverse: where pixel p of the channel is found once the three outputs
    // have been blended into one register.
    static consteval ByteTable<kSize> gather(size_t channel) {
        return byte_table<kSize>([=](size_t p) { return (3 * p + channel) % kSize; });
    }
    // The same grey three times: pixel of byte i of output j.
    static consteval ByteTable<kSize> grey(size_t j) {
        return byte_table<kSize>([=](size_t i) { return (j * kSize + i) / 3; });
    }
    // 0xFF where i mod 3 == remainder.
    static consteval ByteTable<kSize> mask(size_t remainder) {
        return byte_table<kSize>([=](size_t i) { return i % 3 == remainder ? 0xFF : 0; });
    }
};

}  // namespace imgcnv
