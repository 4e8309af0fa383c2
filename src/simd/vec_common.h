// What vectors of every instruction set have in common, in the vector extensions of GCC and
// Clang: arithmetic is the same text at every width, and so is what moves bytes by tables.
//
// A vector type is a struct of static functions; vec_*.h derive it from VecCommon and add what has
// no such text. They do so in an unnamed namespace, so that each level has copies of its own of all
// these functions and of the kernels made of them, compiled with its own flags.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <utility>

#include "simd/permutation.h"

namespace imgcnv {

// V: the vector type that derives from this, of kSize bytes. Its lanes are 16 bytes; its spans, of
// kSpan bytes, are what one instruction permutes: a lane or the whole vector. V has, or replaces:
//
//   Narrowest                  the type for rows shorter than V
//   lookup(table, indices)     bytes of each lane by their index within it; kZeroByte gives 0
//   permute(a, indices)        the same within each span, if that is not a lane
//   load_lanes(p, step)        16 bytes for every lane, the lanes' `step` bytes apart
//   bit_select(mask, a, b)     a where the bits of mask are 1, else b; all bits of a byte are alike
//   mulhi16, mulhi16u          the high halves of signed and of unsigned products
//   maddubs(a, b)              unsigned bytes times signed bytes, neighbours added to 16 bits
//   abs16, min16, max16        of signed words
//   top_bits(a)                one bit for every byte whose top bit is set
//   pack16(lo, hi)             signed words as bytes, clamped, within lanes
//   load_widened(p)            bytes as words, in order
//   stream(p, a)               past the caches; p aligned
template <class V, size_t kSize, size_t kSpan = 16>
struct VecCommon {
    typedef long long Reg __attribute__((vector_size(kSize), may_alias));
    typedef long long Unaligned __attribute__((vector_size(kSize), may_alias, aligned(1)));
    typedef uint8_t Bytes __attribute__((vector_size(kSize)));
    typedef uint16_t Words __attribute__((vector_size(kSize)));
    typedef int16_t SignedWords __attribute__((vector_size(kSize)));
    typedef uint32_t Dwords __attribute__((vector_size(kSize)));
    using Mask = Reg;  // of 16-bit lanes

    static constexpr size_t kBytes = kSize;
    static constexpr bool kNarrowest = kSize == 16;

    static Reg load(const uint8_t* p) { return *(const Unaligned*)p; }
    static void store(uint8_t* p, Reg x) { *(Unaligned*)p = x; }
    // Parts of blocks, which few instruction sets load and store by masks: `bytes` bytes to (from)
    // a buffer of kBuffer, whole vectors. Copied in, the rest of it becomes 0.
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

    // What a loop is to find in a register.
    static Reg kept(Reg constant) { return constant; }
    static Reg zero() { return Reg{}; }
    static Reg set8(int x) { return V::kept((Reg)(Bytes{} + static_cast<uint8_t>(x))); }
    static Reg set16(int x) { return V::kept((Reg)(Words{} + static_cast<uint16_t>(x))); }
    // The values of a captureless lambda for 0 .. kPeriod - 1, again and again. (Made at compile
    // time and kept in memory: Clang would copy a table that is passed onto the stack.)
    template <size_t kPeriod = 16, class F>
    static Reg table(F) {
        static constexpr auto kTable = byte_table<kSize>([](size_t i) { return F{}(i % kPeriod); });
        return V::kept(*(const Reg*)kTable.at);
    }

    static Reg and_(Reg a, Reg b) { return a & b; }
    static Reg or_(Reg a, Reg b) { return a | b; }
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
    static Mask greater16(Reg a, Reg b) { return (Reg)((SignedWords)a > (SignedWords)b); }
    static Reg select16(Mask m, Reg a, Reg b) { return V::bit_select(m, a, b); }

    static Reg permute(Reg a, Reg indices) { return V::lookup(a, indices); }
    // By the indices of a captureless lambda, within lanes.
    template <class F>
    static Reg shuffle(Reg a, F index_of) {
        return V::lookup(a, table(index_of));
    }
    template <class F>
    static Reg permute_by(Reg a, F index_of) {
        return V::permute(a, table<kSpan>(index_of));
    }
    static Reg reverse(Reg a) {
        return permute_by(a, [](size_t i) { return kSpan - 1 - i; });
    }
    // Bytes of 16-bit lanes: the even or the odd one in both places.
    static Reg dup_even(Reg a) {
        return shuffle(a, [](size_t i) { return i & ~size_t{1}; });
    }
    static Reg dup_odd(Reg a) {
        return shuffle(a, [](size_t i) { return i | 1; });
    }
    // Bytes of a and b in turns, within lanes; 16, 32, 64: units of so many bits.
    static Reg unpack_lo8(Reg a, Reg b) { return interleave<Bytes, 0>(a, b, Indices<1>()); }
    static Reg unpack_hi8(Reg a, Reg b) { return interleave<Bytes, 8>(a, b, Indices<1>()); }
    static Reg unpack_lo16(Reg a, Reg b) { return interleave<Words, 0>(a, b, Indices<2>()); }
    static Reg unpack_hi16(Reg a, Reg b) { return interleave<Words, 4>(a, b, Indices<2>()); }
    static Reg unpack_lo32(Reg a, Reg b) { return interleave<Dwords, 0>(a, b, Indices<4>()); }
    static Reg unpack_hi32(Reg a, Reg b) { return interleave<Dwords, 2>(a, b, Indices<4>()); }
    static Reg unpack_lo64(Reg a, Reg b) { return interleave<Reg, 0>(a, b, Indices<8>()); }
    static Reg unpack_hi64(Reg a, Reg b) { return interleave<Reg, 1>(a, b, Indices<8>()); }
    static Reg widen_lo(Reg a) { return V::unpack_lo8(a, zero()); }
    static Reg widen_hi(Reg a) { return V::unpack_hi8(a, zero()); }
    // Words below 256 as bytes, in order.
    static Reg narrow(Reg lo, Reg hi) { return V::pack16(lo, hi); }

    // Bit 0 of the first byte is the first pixel: 0xFF or 0.
    static Reg load_bits(const uint8_t* p) {
        uint32_t bits = 0;
        memcpy(&bits, p, kSize / 8);
        const Reg byte_of_pixel = table<kSize>([](size_t i) { return i / 8; });
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        return equal8(V::lookup((Reg)(Dwords{} + bits), byte_of_pixel) & bit, bit);
    }
    // Little-endian words shifted right: their low bytes.
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        return V::narrow(low_bytes<kShift>(load(p)), low_bytes<kShift>(load(p + kSize)));
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
    // The first and the last byte of every 3: 16 of the 24 bytes of each lane.
    static Reg load_packed(const uint8_t* p) {
        return shuffle(V::load_lanes(p, 24), [](size_t i) { return packed_byte(i, 0, 16); }) |
               shuffle(V::load_lanes(p + 8, 24), [](size_t i) { return packed_byte(i, 16, 24); });
    }

    // Three channels of interleaved bytes. Every span is loaded with 3 kSpan bytes of its own.
    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        const auto span = [p](size_t i) { return load_spans(p + i * kSpan, 3 * kSpan); };
        const Reg v0 = span(0), v1 = span(1), v2 = span(2);
        a = permute_by(V::mix3(v0, v2, v1), [](size_t i) { return Order3::gather(0, i); });
        b = permute_by(V::mix3(v1, v0, v2), [](size_t i) { return Order3::gather(1, i); });
        c = permute_by(V::mix3(v2, v1, v0), [](size_t i) { return Order3::gather(2, i); });
    }
    static void store3(uint8_t* p, Reg a, Reg b, Reg c) {
        a = permute_by(a, [](size_t i) { return Order3::spread(0, i); });
        b = permute_by(b, [](size_t i) { return Order3::spread(1, i); });
        c = permute_by(c, [](size_t i) { return Order3::spread(2, i); });
        const Reg v0 = V::mix3(a, b, c), v1 = V::mix3(b, c, a), v2 = V::mix3(c, a, b);
        V::store_spans3(p, v0, v1, v2);
    }
    static void store3_grey(uint8_t* p, Reg g) {
        if constexpr (kSpan == kSize) {
            // One by one, or GCC would load g for each of them.
            store(p, grey3<0>(g));
            store(p + kSize, grey3<1>(g));
            store(p + 2 * kSize, grey3<2>(g));
        } else {
            V::store_spans3(p, grey3<0>(g), grey3<1>(g), grey3<2>(g));
        }
    }
    // The first span of each, then the second ones.
    static void store_spans3(uint8_t* p, Reg v0, Reg v1, Reg v2) {
        store(p, v0);
        store(p + kSize, v1);
        store(p + 2 * kSize, v2);
    }
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        const Reg second = table([](size_t i) { return i % 3 == 1 ? 0xFF : 0; });
        const Reg third = table([](size_t i) { return i % 3 == 2 ? 0xFF : 0; });
        return V::bit_select(third, r2, V::bit_select(second, r1, r0));
    }
    // kSize / 4 rows of as many three-byte pixels. All is loaded before anything is stored, so that
    // no load waits for a store.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        constexpr ptrdiff_t kParts = kSize / 16;
        Reg parts[kParts][4];
        load_columns3<0>(src, src_step, parts[0]);
#pragma GCC unroll 4
        for (ptrdiff_t i = 1; i < kParts; ++i) {
            // 4 bytes early: the last load ends where the pixels do.
            load_columns3<4>(src + 12 * i - 4, src_step, parts[i]);
        }
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < kParts; ++i) {
            const Reg* rows = parts[i];
            uint8_t* column = dst + 4 * i * dst_step;
            const Reg lo01 = V::unpack_lo32(rows[0], rows[1]),
                      hi01 = V::unpack_hi32(rows[0], rows[1]);
            const Reg lo23 = V::unpack_lo32(rows[2], rows[3]),
                      hi23 = V::unpack_hi32(rows[2], rows[3]);
            V::store_dense3(column, V::unpack_lo64(lo01, lo23));
            V::store_dense3(column + dst_step, V::unpack_hi64(lo01, lo23));
            V::store_dense3(column + 2 * dst_step, V::unpack_lo64(hi01, hi23));
            V::store_dense3(column + 3 * dst_step, V::unpack_hi64(hi01, hi23));
        }
    }
    // Pixels of four bytes without their last ones. (Of 16-byte vectors.)
    static void store_dense3(uint8_t* p, Reg pixels) {
        const Reg dense = shuffle(
            pixels, [](size_t k) { return k < 12 ? k / 3 * 4 + k % 3 : size_t{kZeroByte}; });
        memcpy(p, &dense, 8);
        memcpy(p + 8, reinterpret_cast<const uint8_t*>(&dense) + 8, 4);
    }
    // Three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        permute_pixels(src + 3 * (kSize - kSpan), -3 * static_cast<ptrdiff_t>(kSpan), dst,
                       [](size_t i) { return 3 * kSpan - 3 - i / 3 * 3 + i % 3; });
    }
    // Three-byte pixels with their first and last bytes exchanged.
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
        permute_pixels(src, 3 * kSpan, dst, [](size_t i) { return i / 3 * 3 + 2 - i % 3; });
    }

    // Three-byte pixels as words, in the order of pack16: the first two bytes of each in `pair`,
    // the last one in `single`.
    static void load_pairs3(const uint8_t* p, Reg pair[2], Reg single[2]) {
        const Reg v[4] = {load_pairs3_lanes<0>(p), load_pairs3_lanes<0>(p + 12),
                          load_pairs3_lanes<0>(p + 24), load_pairs3_lanes<4>(p + 32)};
        for (size_t i = 0; i < 2; ++i) {
            pair[i] = V::unpack_lo64(v[2 * i], v[2 * i + 1]);
            single[i] = V::unpack_hi64(v[2 * i], v[2 * i + 1]);
        }
    }

    // Three-byte pixels a b c as a b c 0, or as c b a 0.
    template <bool kReversed>
    static void widen3(const uint8_t* src, uint8_t* dst) {
        constexpr size_t kBytesRead = kSize / 4 * 3;
        // The last load ends where the pixels do.
        const Reg v[4] = {widened3<kReversed, 0>(src), widened3<kReversed, 0>(src + kBytesRead),
                          widened3<kReversed, 0>(src + 2 * kBytesRead),
                          widened3<kReversed, kSpan / 4>(src + 3 * kBytesRead - kSpan / 4)};
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) store(dst + i * kSize, v[i]);
    }
    // Spans that are 12 bytes apart, 12 bytes of each from byte kFirst on.
    template <size_t kFirst>
    static Reg load_dozens(const uint8_t* p) {
        return load_spans(p, 12);
    }
    // a b c 0
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        a = V::deal_dwords(a), b = V::deal_dwords(b), c = V::deal_dwords(c);
        const Reg ab_lo = V::unpack_lo8(a, b), ab_hi = V::unpack_hi8(a, b);
        const Reg c_lo = widen_lo(c), c_hi = widen_hi(c);
        store(p, V::unpack_lo16(ab_lo, c_lo));
        store(p + kSize, V::unpack_hi16(ab_lo, c_lo));
        store(p + 2 * kSize, V::unpack_lo16(ab_hi, c_hi));
        store(p + 3 * kSize, V::unpack_hi16(ab_hi, c_hi));
    }
    // Puts dwords where unpacking within the lanes, twice, leaves every output in order.
    static Reg deal_dwords(Reg a) { return a; }

    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) { return V::top_bits((Reg)((Words)a == 0)) != 0; }
    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg bitmap_contains(const ByteTable<32>& bitmap, Reg x) {
        const Reg index = shr16<3>(x) & V::set8(15), half = x & V::set8(0x80);
        const Reg row = V::bit_select(V::equal8(half, zero()), lookup_in(bitmap.at, index),
                                      lookup_in(bitmap.at + 16, index));
        const Reg bit = V::bit_in_byte(x);
        return V::equal8(row & bit, bit);
    }
    // 1 << x % 8
    static Reg bit_in_byte(Reg x) {
        return V::lookup(table([](size_t i) { return i < 8 ? 1u << i : 0; }), x & V::set8(7));
    }

  private:
    template <size_t kBytesEach>
    using Indices = std::make_index_sequence<kSize / kBytesEach>;
    // From unit kFirst of each lane on.
    template <class Units, size_t kFirst, size_t... kIndex>
    static Reg interleave(Reg a, Reg b, std::index_sequence<kIndex...>) {
        constexpr size_t kCount = sizeof...(kIndex), kInLane = 16 * kCount / kSize;
        return (Reg)__builtin_shufflevector(
            (Units)a, (Units)b,
            (kIndex / kInLane * kInLane + kFirst + kIndex % kInLane / 2 + kIndex % 2 * kCount)...);
    }
    // Byte i of packed pixels, if it is from `begin` to `end`, in 16 bytes that end there.
    static constexpr size_t packed_byte(size_t i, size_t begin, size_t end) {
        const size_t byte = i / 2 * 3 + i % 2 * 2;
        return begin <= byte && byte < end ? byte + 16 - end : kZeroByte;
    }
    using Order3 = Interleave3<kSpan>;

    template <size_t kOutput>
    static Reg grey3(Reg g) {
        return permute_by(g, [](size_t i) { return Order3::grey(kOutput, i); });
    }
    // Spans that are `step` bytes apart.
    static Reg load_spans(const uint8_t* p, ptrdiff_t step) {
        if constexpr (kSpan == kSize) {
            return load(p);
        } else {
            return V::load_lanes(p, step);
        }
    }
    // By the indices of a captureless lambda within spans, where kZeroByte gives 0.
    template <class F>
    static Reg permute_or_zero(Reg a, F index_of) {
        const Reg bytes = permute_by(a, index_of);
        // Only looking up within lanes makes zeros.
        if constexpr (kSpan == 16) return bytes;
        return bytes & table<kSpan>([](size_t i) { return F{}(i) == kZeroByte ? 0 : 0xFF; });
    }
    // Of every three spans of pixels, which are `step` bytes apart, byte i becomes their byte
    // from(i). Deinterleaving, and interleaving again, takes twice as long.
    template <class F>
    static void permute_pixels(const uint8_t* src, ptrdiff_t step, uint8_t* dst, F from) {
        if constexpr (kSize == 16) {  // a look-up and a store more, and nothing to put together
            const Reg v[4] = {pixels_from<0>(src, from), pixels_from<15>(src, from),
                              pixels_from<30>(src, from), pixels_from<44>(src, from)};
            for (size_t i = 0; i < 3; ++i) store(dst + 15 * i, v[i]);
            memcpy(dst + 44, &v[3], 4);
            return;
        }
        const Reg v[3] = {load_spans(src, step), load_spans(src + kSpan, step),
                          load_spans(src + 2 * kSpan, step)};
        V::store_spans3(dst, output_span<0>(v, from), output_span<1>(v, from),
                        output_span<2>(v, from));
    }
    // From byte kFirst of 48 on 15 bytes, or those that there are, and others.
    template <size_t kFirst, class F>
    static Reg pixels_from(const uint8_t* src, F from) {
        constexpr size_t kEnd = kFirst + 15 < 48 ? kFirst + 15 : 48;
        constexpr size_t kLowest =
            from(kFirst) < from(kEnd - 3) ? from(kFirst) - 2 : from(kEnd - 3);
        constexpr size_t kLoad = kLowest < 32 ? kLowest : 32;
        return shuffle(load(src + kLoad),
                       [](size_t i) { return kFirst + i < kEnd ? F{}(kFirst + i) - kLoad : 0; });
    }
    template <size_t kOutput, class F>
    static Reg output_span(const Reg v[3], F from) {
        return part_of<kOutput, 0>(v[0], from) | part_of<kOutput, 1>(v[1], from) |
               part_of<kOutput, 2>(v[2], from);
    }
    // An output span's bytes from an input span, and zeros. None moves beyond the next span.
    template <size_t kOutput, size_t kInput, class F>
    static Reg part_of(Reg input, F) {
        constexpr size_t kMost = F{}(kOutput * kSpan + kSpan / 2) / kSpan;
        if constexpr (kMost + kInput == 2 && kMost != 1) return zero();
        return permute_or_zero(input, [](size_t i) {
            const size_t from = F{}(kOutput * kSpan + i);
            return from / kSpan == kInput ? from % kSpan : size_t{kZeroByte};
        });
    }
    // Four three-byte pixels, of which 16 bytes would be too many.
    static Reg load_dense3(const uint8_t* p) {
        long long first;
        uint32_t last;
        memcpy(&first, p, sizeof first);
        memcpy(&last, p + sizeof first, sizeof last);
        return unpack_lo64(Reg{} + first, Reg{} + static_cast<long long>(last));
    }
    // Four columns that begin kFirst bytes into every row, four bytes for each pixel. Lane j of
    // vector i is row 4 j + i.
    template <size_t kFirst>
    static void load_columns3(const uint8_t* src, ptrdiff_t src_step, Reg rows[4]) {
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const uint8_t* p = src + i * src_step;
            rows[i] = shuffle(kSize == 16 ? load_dense3(p) : V::load_lanes(p, 4 * src_step),
                              [](size_t k) { return kFirst + k / 4 * 3 + k % 4 % 3; });
        }
    }
    // Four pixels that begin kFirst bytes into every lane.
    template <size_t kFirst>
    static Reg load_pairs3_lanes(const uint8_t* p) {
        return shuffle(V::load_lanes(p, 48), [](size_t i) {
            return i < 8        ? kFirst + i / 2 * 3 + i % 2
                   : i % 2 == 0 ? kFirst + (i - 8) / 2 * 3 + 2
                                : size_t{kZeroByte};
        });
    }
    // Pixels that begin kFirst bytes into every span.
    template <bool kReversed, size_t kFirst>
    static Reg widened3(const uint8_t* p) {
        return permute_or_zero(V::template load_dozens<kFirst>(p), [](size_t i) {
            return i % 4 == 3 ? size_t{kZeroByte}
                              : kFirst + i / 4 * 3 + (kReversed ? 2 - i % 4 : i % 4);
        });
    }
    // Every lane looks its bytes up in the same 16.
    static Reg lookup_in(const uint8_t* bytes, Reg indices) {
        return V::lookup(V::load_lanes(bytes, 0), indices);
    }
    template <int kShift>
    static Reg low_bytes(Reg words) {
        const Reg shifted = shr16<kShift>(words);
        return kShift == 8 ? shifted : shifted & V::set16(0xFF);
    }
};

}  // namespace imgcnv
