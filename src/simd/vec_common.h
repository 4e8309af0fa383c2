// What vectors of every instruction set have in common, in the vector extensions of GCC and
// Clang: arithmetic is the same text at every width, and so is what shuffles bytes within
// 16-byte lanes.
//
// A vector type is a struct of static functions; vec_*.h derive it from VecCommon and add what has
// no such text. Its own Level is a template parameter, so that each level has copies of its own
// of all these functions, compiled with its own flags.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "simd/permutation.h"

namespace imgcnv {

// V: the vector type that derives from this, of kSize bytes.
template <class V, size_t kSize>
struct VecCommon {
    typedef long long Reg __attribute__((vector_size(kSize), may_alias));
    typedef long long Unaligned __attribute__((vector_size(kSize), may_alias, aligned(1)));
    typedef uint8_t Bytes __attribute__((vector_size(kSize)));
    typedef uint16_t Words __attribute__((vector_size(kSize)));
    typedef int16_t SignedWords __attribute__((vector_size(kSize)));

    static constexpr size_t kBytes = kSize;
    // What copies of rows that begin anywhere are made with.
    using CopyVector = V;

    static Reg load(const uint8_t* p) { return *(const Unaligned*)p; }
    static void store(uint8_t* p, Reg x) { *(Unaligned*)p = x; }
    // For many bytes.
    static void copy_large(uint8_t* dst, const uint8_t* src, size_t bytes) {
        memcpy(dst, src, bytes);
    }

    static Reg zero() { return Reg{}; }
    static Reg set8(int x) { return (Reg)(Bytes{} + static_cast<uint8_t>(x)); }
    static Reg set16(int x) { return (Reg)(Words{} + static_cast<uint16_t>(x)); }

    static Reg and_(Reg a, Reg b) { return a & b; }
    static Reg or_(Reg a, Reg b) { return a | b; }
    static Reg xor_(Reg a, Reg b) { return a ^ b; }
    static Reg andnot(Reg a, Reg b) { return ~a & b; }
    static Reg sub8(Reg a, Reg b) { return (Reg)((Bytes)a - (Bytes)b); }
    static Reg add16(Reg a, Reg b) { return (Reg)((Words)a + (Words)b); }
    static Reg sub16(Reg a, Reg b) { return (Reg)((Words)a - (Words)b); }
    template <int k>
    static Reg shl16(Reg a) {
        return (Reg)((Words)a << k);
    }
    template <int k>
    static Reg shr16(Reg a) {
        return (Reg)((Words)a >> k);
    }
    template <int k>
    static Reg sar16(Reg a) {
        return (Reg)((SignedWords)a >> k);
    }
    // The high halves of signed products.
    template <int k>
    static Reg mulhi16_by(Reg a) {
        return V::mulhi16(a, V::set16(k));
    }
    // 0xFF or 0 in every byte.
    static Reg equal8(Reg a, Reg b) { return (Reg)((Bytes)a == (Bytes)b); }

    // Bytes of 16-bit lanes: the even or the odd one in both places.
    static Reg dup_even(Reg a) {
        return V::shuffle(a, [](size_t i) { return i & ~1u; });
    }
    static Reg dup_odd(Reg a) {
        return V::shuffle(a, [](size_t i) { return i | 1; });
    }
    static Reg widen_lo(Reg a) { return V::unpack_lo8(a, zero()); }
    static Reg widen_hi(Reg a) { return V::unpack_hi8(a, zero()); }
};

// Vectors whose bytes are shuffled within lanes of 16, by tables of 16 that serve all lanes. V has
//   table(ByteTable<16>)      the same table in every lane
//   shuffle(Reg, Reg)         bytes of each lane by their index within it; kZeroByte gives 0
//   load_lanes(p, step)       16 bytes for every lane, the lanes' `step` bytes apart
template <class V, size_t kSize>
struct LaneVec : VecCommon<V, kSize> {
    using Common = VecCommon<V, kSize>;
    using Reg = typename Common::Reg;
    using Mask = Reg;  // of 16-bit lanes
    using Common::and_;
    using Common::equal8;
    using Common::or_;
    using Common::set16;
    using Common::set8;
    using Common::store;

    // No part of a vector is loaded or stored by itself: `bytes` bytes to (from) a buffer of
    // kBuffer bytes. Copied in, the rest of it becomes 0.
    static constexpr bool kMasks = false;
    template <size_t kBuffer>
    static void copy_in(uint8_t* buffer, const uint8_t* src, size_t bytes) {
        memset(buffer, 0, kBuffer);
        memcpy(buffer, src, bytes);
    }
    template <size_t kBuffer>
    static void copy_out(uint8_t* dst, const uint8_t* buffer, size_t bytes) {
        memcpy(dst, buffer, bytes);
    }

    // By the table of a captureless lambda, made at compile time.
    template <class F>
    static Reg table(F) {
        static constexpr ByteTable<16> kTable = byte_table<16>(F{});
        return V::table(kTable);
    }
    template <class F>
    static Reg shuffle(Reg a, F index_of) {
        return V::shuffle(a, table(index_of));
    }
    static Reg shuffle(Reg a, const ByteTable<16>& t) { return V::shuffle(a, V::table(t)); }

    // Little-endian words shifted right: their low bytes.
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        return V::narrow(low_bytes<kShift>(V::load(p)), low_bytes<kShift>(V::load(p + kSize)));
    }
    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        // Every lane holds 48 bytes of its own.
        const Reg v0 = V::load_lanes(p, 48), v1 = V::load_lanes(p + 16, 48);
        const Reg v2 = V::load_lanes(p + 32, 48);
        a = shuffle(mix3(v0, v2, v1), Interleave3<16>::gather(0));
        b = shuffle(mix3(v1, v0, v2), Interleave3<16>::gather(1));
        c = shuffle(mix3(v2, v1, v0), Interleave3<16>::gather(2));
    }
    // Words of 2-pixel groups, in the order of pack16.
    static void load_yuv422(const uint8_t* p, Reg& lo, Reg& hi) {
        lo = V::load_lanes(p, 32);
        hi = V::load_lanes(p + 16, 32);
    }
    // 6-byte groups: two at byte 0 of every 16 of lo, two at byte 4 of hi, in the
    // order of pack16.
    static void load_yuv411(const uint8_t* p, Reg& lo, Reg& hi) {
        lo = V::load_lanes(p, 24);
        hi = V::load_lanes(p + 8, 24);
    }
    // The first and the last byte of every 3.
    static Reg load_packed(const uint8_t* p) {
        static constexpr Pick24 kPick = pick24([](size_t i) { return i / 2 * 3 + i % 2 * 2; });
        return or_(shuffle(V::load_lanes(p, 24), kPick.head),
                   shuffle(V::load_lanes(p + 8, 24), kPick.tail));
    }

    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg bitmap_contains(const ByteTable<32>& bitmap, Reg x) {
        const Reg index = and_(V::template shr16<3>(x), set8(0x1F));
        const Reg upper_half = equal8(and_(index, set8(16)), set8(16));
        const Reg row = V::bit_select(upper_half, shuffle_of(bitmap.at + 16, index),
                                      shuffle_of(bitmap.at, index));
        const Reg bit = bit_in_byte(x);
        return equal8(and_(row, bit), bit);
    }
    // 1 << x % 8
    static Reg bit_in_byte(Reg x) {
        return V::shuffle(table([](size_t i) { return i < 8 ? 1u << i : 0; }), and_(x, set8(7)));
    }

  protected:
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        const Reg second = V::table(Interleave3<16>::mask(1));
        const Reg third = V::table(Interleave3<16>::mask(2));
        return V::bit_select(third, r2, V::bit_select(second, r1, r0));
    }
    // Every lane shuffles the same 16 bytes.
    static Reg shuffle_of(const uint8_t* bytes, Reg index) {
        return V::shuffle(V::load_lanes(bytes, 0), index);
    }

  private:
    template <int kShift>
    static Reg low_bytes(Reg words) {
        const Reg shifted = V::template shr16<kShift>(words);
        return kShift == 8 ? shifted : and_(shifted, set16(0xFF));
    }
};

}  // namespace imgcnv
