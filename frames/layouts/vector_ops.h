// What vector bodies are written in. A level names its instructions in a class `V`:
//
//   kLanes               16-byte lanes of a vector
//   shuffle(a, indices)  bytes within each lane; an index with its top bit set gives 0
//   load_lanes(p, step)  one 16-byte piece for every lane, `step` bytes apart
//   store_lanes(p, step, a)
//   store_lanes3(p, a, b, c)  lane i of a, of b and of c at 48 i, 48 i + 16 and 48 i + 32
//   broadcast(piece)     the same 16 bytes in every lane
//   pack_words(a, b)     within lanes: 8 words of a, 8 of b as bytes, clamped to 255; words are at
//                        most 32767
//   pack_dwords(a, b)    the same from signed dwords to words, clamped to 0..65535
//   multiply_high(a, b)  the upper halves of the products of words
//   average(a, b)        of unsigned words, halves rounded up
//   smaller(a, b)        of floats, of unsigned words
//   subtract(a, b)       of unsigned words, 0 where b is larger
//
// Levels that move bytes from anywhere in a vector to anywhere (WholeVector) have in addition:
//
//   permute(a, indices)         bytes of the whole vector
//   permute2(a, b, indices)     the same of two vectors
//   bits_from(a, first)         for every byte, 8 bits of the 8 bytes that it is one of, from bit
//                               `first` of these on
//   permute_words(a, indices)   words of the whole vector
//   load_bits(p)                bytes of 0 or 255 for as many bits
//   load_bit_words(p)           words of 0 or 1 for as many bits
//   load_pieces<kBytes>(p)      for every 8 bytes the next 1, 2 or 4 bytes from p on, and zeros
//
// Levels that can store past the caches (StreamingVector):
//
//   stream(p, a)  to an address that is a multiple of the vector's bytes
//   end_stream()  orders what was streamed before all later stores
//
// All else is arithmetic on the compilers' vector types, the same text for every width. Every
// function here is a template over V, so that each level has its own copies.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <utility>

namespace frames {

template <class V>
inline constexpr size_t kVectorBytes = 16 * V::kLanes;

template <class V>
struct VectorTypes {
    typedef uint8_t Bytes __attribute__((vector_size(16 * V::kLanes)));
    typedef int8_t SignedBytes __attribute__((vector_size(16 * V::kLanes)));
    typedef uint16_t Words __attribute__((vector_size(16 * V::kLanes)));
    typedef int16_t SignedWords __attribute__((vector_size(16 * V::kLanes)));
    typedef int32_t Dwords __attribute__((vector_size(16 * V::kLanes)));
    typedef uint32_t UnsignedDwords __attribute__((vector_size(16 * V::kLanes)));
    typedef float Floats __attribute__((vector_size(16 * V::kLanes)));
};
template <class V>
using Bytes = typename VectorTypes<V>::Bytes;
template <class V>
using SignedBytes = typename VectorTypes<V>::SignedBytes;
template <class V>
using Words = typename VectorTypes<V>::Words;
template <class V>
using SignedWords = typename VectorTypes<V>::SignedWords;
template <class V>
using Dwords = typename VectorTypes<V>::Dwords;
template <class V>
using UnsignedDwords = typename VectorTypes<V>::UnsignedDwords;
template <class V>
using Floats = typename VectorTypes<V>::Floats;

template <class V>
concept WholeVector = requires(Bytes<V> a) {
    V::permute(a, a);
};

template <class V>
concept StreamingVector = requires {
    V::end_stream();
};

inline constexpr uint8_t kNoByte = 0x80;  // as an index: gives 0

struct alignas(16) LaneBytes {
    uint8_t at[16];
};
struct alignas(16) LaneWords {
    uint16_t at[8];
};

/// A constant of a whole vector.
template <class V>
struct alignas(kVectorBytes<V>) VectorBytes {
    uint8_t at[kVectorBytes<V>];
};
template <class V>
struct alignas(kVectorBytes<V>) VectorWords {
    uint16_t at[kVectorBytes<V> / 2];
};

/// Vectors of any type from and to memory, aligned to nothing.
template <class V, class T>
inline T load_vector(const void* p) {
    T a;
    memcpy(&a, p, sizeof a);
    return a;
}
template <class V, class T>
inline void store_vector(void* p, T a) {
    memcpy(p, &a, sizeof a);
}

/// Bytes of a where the top bit of those of `of_a` is set, else of b.
template <class V>
inline Bytes<V> choose(Bytes<V> of_a, Bytes<V> a, Bytes<V> b) {
    return (SignedBytes<V>)of_a < 0 ? a : b;
}

template <class V>
inline Words<V> words_in_lanes(const LaneWords& words) {
    return (Words<V>)V::broadcast(words.at);
}
template <class V>
inline Bytes<V> shuffle(Bytes<V> a, const LaneBytes& indices) {
    return V::shuffle(a, V::broadcast(indices.at));
}

/// Bytes that repeat every 6 items of `kItem` bytes, as a constant: a vector of what stands from an
/// item on is loaded from it. 16 items further is 4 items further, 8 items further is 2.
template <class V, size_t kItem>
struct Repeated {
    uint8_t bytes[(5 + 3 * 4) * kItem + 16];

    template <class F>
    constexpr explicit Repeated(F byte_of) : bytes() {
        for (size_t i = 0; i < sizeof bytes; ++i)
            bytes[i] = static_cast<uint8_t>(byte_of(i / kItem % 6, i % kItem));
    }
    /// Lanes that begin at item `first`, and every `lane_step` further.
    Bytes<V> at(size_t first, size_t lane_step) const {
        return V::load_lanes(bytes + first % 6 * kItem, lane_step % 6 * kItem);
    }
};

/// Lanes of 16 bits as the low or high four of each 16-byte lane, widened to 32.
template <class V, int kHalf>
inline Dwords<V> widen_words(Words<V> a) {
    static constexpr LaneBytes kIndices = [] {
        LaneBytes indices{};
        for (int i = 0; i < 16; ++i)
            indices.at[i] =
                static_cast<uint8_t>(i % 4 < 2 ? 8 * kHalf + i / 4 * 2 + i % 4 : kNoByte);
        return indices;
    }();
    return (Dwords<V>)shuffle<V>((Bytes<V>)a, kIndices);
}
/// The same for bytes and words.
template <class V, int kHalf>
inline Words<V> widen_bytes(Bytes<V> a) {
    static constexpr LaneBytes kIndices = [] {
        LaneBytes indices{};
        for (int i = 0; i < 16; ++i)
            indices.at[i] = static_cast<uint8_t>(i % 2 == 0 ? 8 * kHalf + i / 2 : kNoByte);
        return indices;
    }();
    return (Words<V>)shuffle<V>(a, kIndices);
}

/// Bytes as words: as many as a vector has words, from 16 bytes or a vector that may be read.
template <class V>
inline Words<V> load_widened(const uint8_t* p) {
    static constexpr VectorBytes<V> kIndices = [] {
        VectorBytes<V> indices{};
        for (size_t i = 0; i < kVectorBytes<V>; ++i)
            indices.at[i] = static_cast<uint8_t>(i % 2 == 0 ? i / 2 : kNoByte);
        return indices;
    }();
    const Bytes<V> indices = load_vector<V, Bytes<V>>(kIndices.at);
    if constexpr (WholeVector<V>)
        return (Words<V>)V::permute(load_vector<V, Bytes<V>>(p), indices) & uint16_t{0xFF};
    else
        return (Words<V>)V::shuffle(V::broadcast(p), indices);
}

/// memcpy for some ten to hundred bytes: what compilers make of that takes longer than the rest of
/// a row's end.
template <class V>
inline void copy_few(uint8_t* to, const uint8_t* from, size_t bytes) {
    const auto pieces = [&]<class Piece>(Piece piece) {
        for (size_t at = 0;; at += sizeof piece) {
            // The last piece ends with the bytes.
            if (bytes - at < sizeof piece) at = bytes - sizeof piece;
            memcpy(&piece, from + at, sizeof piece);
            memcpy(to + at, &piece, sizeof piece);
            if (at + sizeof piece == bytes) return;
        }
    };
    if (bytes >= 16) return pieces(LaneBytes());
    if (bytes >= 4) return pieces(uint32_t());
    for (size_t at = 0; at < bytes; ++at) to[at] = from[at];
}

/// Blocks that read and write nothing else than what may be read and written.
template <class Body>
[[gnu::always_inline]] inline size_t whole_blocks(size_t readable, size_t out_bytes) {
    if (out_bytes < Body::kWrites) return 0;
    const size_t written = (out_bytes - Body::kWrites) / Body::kOut + 1;
    // Most rows have others behind them and need no division by what a block reads.
    if ((written - 1) * Body::kIn + Body::kReads <= readable) [[likely]]
        return written;
    return readable < Body::kReads ? 0 : (readable - Body::kReads) / Body::kIn + 1;
}

/// What whole blocks leave over, with copies in buffers. (A function of its own: rows without such
/// an end need no memory on the stack.)
template <class V, class Body>
[[gnu::noinline]] void run_rest(const Body body, const uint8_t* source, size_t in_bytes,
                                uint8_t* out, size_t out_bytes) {
    constexpr size_t kRest = (Body::kWrites == Body::kOut ? 2 : 3) * Body::kReads;
    constexpr size_t kVectors = (kRest + kVectorBytes<V> - 1) / kVectorBytes<V>;
    alignas(64) uint8_t rest[kVectors * kVectorBytes<V>];
    alignas(64) uint8_t last[Body::kWrites];
    // For memset, GCC takes an instruction that is slow to begin.
    [&]<size_t... kIndex>(std::index_sequence<kIndex...>) {
        (store_vector<V>(rest + kIndex * kVectorBytes<V>, Bytes<V>{}), ...);
    }
    (std::make_index_sequence<kVectors>());
    copy_few<V>(rest, source, in_bytes);
    for (source = rest; out_bytes >= Body::kWrites; source += Body::kIn) {
        body.block(source, out);
        out += Body::kOut;
        out_bytes -= Body::kOut;
    }
    while (out_bytes > 0) {
        const size_t now = out_bytes < Body::kOut ? out_bytes : Body::kOut;
        body.block(source, last);
        copy_few<V>(out, last, now);
        source += Body::kIn;
        out += now;
        out_bytes -= now;
    }
}

/// Calls Body::block(source, out) for whole blocks, and for what is left with copies in buffers:
/// nothing is read beyond `readable` or written beyond `out_bytes`.
///
///   in_bytes, out_bytes    what is converted
///   readable               bytes from `source` on that may be read: in_bytes at least
///   Body::kIn, kOut        bytes of a block
///   Body::kReads, kWrites  bytes that a block reads and writes, at least kIn and kOut
template <class V, class Body>
inline void run_blocks(const Body& body, const uint8_t* source, size_t in_bytes, size_t readable,
                       uint8_t* out, size_t out_bytes) {
    const size_t blocks = whole_blocks<Body>(readable, out_bytes);
    // Small blocks take little longer than the loop's own instructions.
    constexpr size_t kTogether = Body::kOut < 64 ? 4 : 2;
    size_t left = blocks;
    for (; left >= kTogether; left -= kTogether) {
#pragma GCC unroll 4
        for (size_t i = 0; i < kTogether; ++i)
            body.block(source + i * Body::kIn, out + i * Body::kOut);
        source += kTogether * Body::kIn;
        out += kTogether * Body::kOut;
    }
    for (; left != 0; --left) {
        body.block(source, out);
        source += Body::kIn;
        out += Body::kOut;
    }
    out_bytes -= blocks * Body::kOut;
    if (out_bytes != 0) run_rest<V>(body, source, in_bytes - blocks * Body::kIn, out, out_bytes);
}

}  // namespace frames
