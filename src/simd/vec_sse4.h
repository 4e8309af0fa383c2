// 16-byte vectors, SSE4.1.
//
// The level that uses them is a parameter: each level's copies of these functions
// are its own, compiled with its own flags.
#pragma once

#include <smmintrin.h>

#include <string.h>

#include "simd/permutation.h"

namespace imgcnv {

template <class Level>
struct Vec16 {
    static constexpr bool kNarrowest = true;
    using Narrower = void;
    static constexpr bool kMasks = false;
    using OfCopies = Vec16;
    using Reg = __m128i;
    using Mask = __m128i;  // of 16-bit lanes
    static constexpr size_t kBytes = 16;

    static Reg load(const uint8_t* p) { return _mm_loadu_si128((const __m128i*)p); }
    static void store(uint8_t* p, Reg x) { _mm_storeu_si128((__m128i*)p, x); }
    static void copy_long(uint8_t* dst, const uint8_t* src, size_t bytes) {
        memcpy(dst, src, bytes);
    }
    // `bytes` bytes to (from) a buffer of kSize; copied in, the rest of it becomes 0.
    template <size_t kSize>
    static void copy_in(uint8_t* buffer, const uint8_t* src, size_t bytes) {
        memset(buffer, 0, kSize);
        memcpy(buffer, src, bytes);
    }
    template <size_t kSize>
    static void copy_out(uint8_t* dst, const uint8_t* buffer, size_t bytes) {
        memcpy(dst, buffer, bytes);
    }
    // p aligned
    static void stream(uint8_t* p, Reg x) { _mm_stream_si128((__m128i*)p, x); }
    static Reg table(const ByteTable<16>& t) { return _mm_load_si128((const __m128i*)t.at); }
    static Reg shuffle(Reg a, const ByteTable<16>& t) { return _mm_shuffle_epi8(a, table(t)); }
    // The table of a captureless lambda, made at compile time.
    template <class F>
    static Reg table(F) {
        static constexpr ByteTable<16> kTable = byte_table<16>(F{});
        return table(kTable);
    }
    template <class F>
    static Reg shuffle(Reg a, F index_of) {
        return shuffle(a, table(index_of));
    }
    static Reg shuffle(Reg a, Reg indices) { return _mm_shuffle_epi8(a, indices); }
    // One 16-byte piece for every 128-bit lane, `step` bytes apart.
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }
    // The same 16 bytes in every lane.
    static Reg lanes_at(const uint8_t* p) { return load(p); }

    static Reg zero() { return _mm_setzero_si128(); }
    static Reg set8(int x) { return _mm_set1_epi8(static_cast<char>(x)); }
    static Reg set16(int x) { return _mm_set1_epi16(static_cast<short>(x)); }

    static Reg and_(Reg a, Reg b) { return _mm_and_si128(a, b); }
    static Reg or_(Reg a, Reg b) { return _mm_or_si128(a, b); }
    static Reg xor_(Reg a, Reg b) { return _mm_xor_si128(a, b); }
    static bool is_zero(Reg a) { return _mm_testz_si128(a, a) != 0; }
    static Reg andnot(Reg a, Reg b) { return _mm_andnot_si128(a, b); }  // ~a & b
    // a where the bits of mask are 1, else b
    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm_blendv_epi8(b, a, mask); }

    static Reg sub8(Reg a, Reg b) { return _mm_sub_epi8(a, b); }
    static Reg add16(Reg a, Reg b) { return _mm_add_epi16(a, b); }
    static Reg sub16(Reg a, Reg b) { return _mm_sub_epi16(a, b); }
    static Reg mulhi16(Reg a, Reg b) { return _mm_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm_min_epi16(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) { return _mm_maddubs_epi16(a, b); }
    template <int k>
    static Reg shl16(Reg a) {
        return _mm_slli_epi16(a, k);
    }
    template <int k>
    static Reg shr16(Reg a) {
        return _mm_srli_epi16(a, k);
    }
    template <int k>
    static Reg sar16(Reg a) {
        return _mm_srai_epi16(a, k);
    }
    static Mask greater16(Reg a, Reg b) { return _mm_cmpgt_epi16(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm_blendv_epi8(b, a, m); }

    // 16-bit lanes, within 128 bits: inverse of one another
    static Reg widen_lo(Reg a) { return _mm_unpacklo_epi8(a, zero()); }
    static Reg widen_hi(Reg a) { return _mm_unpackhi_epi8(a, zero()); }
    static Reg pack16(Reg lo, Reg hi) { return _mm_packus_epi16(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) { return _mm_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm_unpackhi_epi8(a, b); }

    static Reg dup_even(Reg a) {
        return shuffle(a, [](size_t i) { return i & ~1u; });
    }
    static Reg dup_odd(Reg a) {
        return shuffle(a, [](size_t i) { return i | 1; });
    }

    static Reg reverse(Reg a) {
        return shuffle(a, [](size_t i) { return 15 - i; });
    }

    // --- sources ----------------------------------------------------------

    // Little-endian words, shifted right, low bytes.
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        const auto bytes = [](Reg words) {
            return kShift == 8 ? shr16<8>(words) : and_(shr16<kShift>(words), set16(0xFF));
        };
        return pack16(bytes(load(p)), bytes(load(p + 16)));
    }
    // 8 bytes as 16-bit lanes.
    static Reg load_widened(const uint8_t* p) {
        return _mm_cvtepu8_epi16(_mm_loadl_epi64((const __m128i*)p));
    }
    static Reg load_bits(const uint8_t* p) {
        uint16_t bits;
        memcpy(&bits, p, sizeof bits);
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        const Reg spread = shuffle(_mm_cvtsi32_si128(bits), [](size_t i) { return i / 8; });
        return equal8(and_(spread, bit), bit);
    }

    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        // Every 128-bit lane holds 48 bytes of its own.
        const Reg v0 = load_lanes(p, 48), v1 = load_lanes(p + 16, 48), v2 = load_lanes(p + 32, 48);
        a = shuffle(mix3(v0, v2, v1), Interleave3<16>::gather(0));
        b = shuffle(mix3(v1, v0, v2), Interleave3<16>::gather(1));
        c = shuffle(mix3(v2, v1, v0), Interleave3<16>::gather(2));
    }
    // Words of 2-pixel groups, in the order of pack16.
    static void load_groups2(const uint8_t* p, Reg& lo, Reg& hi) {
        lo = load_lanes(p, 32);
        hi = load_lanes(p + 16, 32);
    }
    // 6-byte groups: two at byte 0 of every 16 of lo, two at byte 4 of hi, in the
    // order of pack16.
    static void load_groups4(const uint8_t* p, Reg& lo, Reg& hi) {
        lo = load_lanes(p, 24);
        hi = load_lanes(p + 8, 24);
    }
    static Reg load_packed(const uint8_t* p) {
        return merge24(load_lanes(p, 24), load_lanes(p + 8, 24),
                       [](size_t i) { return i / 2 * 3 + i % 2 * 2; });
    }

    // --- sinks ------------------------------------------------------------

    static void store3(uint8_t* p, Reg a, Reg b, Reg c) {
        a = shuffle(a, Interleave3<16>::spread(0));
        b = shuffle(b, Interleave3<16>::spread(1));
        c = shuffle(c, Interleave3<16>::spread(2));
        // By mask: a blend wants its mask in one certain register.
        const Reg second = table(Interleave3<16>::mask(1)), third = table(Interleave3<16>::mask(2));
        const Reg ab = bit_select(second, b, a), bc = bit_select(second, c, b);
        const Reg ca = bit_select(second, a, c);
        store(p, bit_select(third, c, ab));
        store(p + 16, bit_select(third, a, bc));
        store(p + 32, bit_select(third, b, ca));
    }
    static void store3_grey(uint8_t* p, Reg g) {
        store(p, shuffle(g, Interleave3<16>::grey(0)));
        store(p + 16, shuffle(g, Interleave3<16>::grey(1)));
        store(p + 32, shuffle(g, Interleave3<16>::grey(2)));
    }
    // a b c 0
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        const Reg ab_lo = unpack_lo8(a, b), ab_hi = unpack_hi8(a, b);
        const Reg c_lo = widen_lo(c), c_hi = widen_hi(c);
        store(p, _mm_unpacklo_epi16(ab_lo, c_lo));
        store(p + 16, _mm_unpackhi_epi16(ab_lo, c_lo));
        store(p + 32, _mm_unpacklo_epi16(ab_hi, c_hi));
        store(p + 48, _mm_unpackhi_epi16(ab_hi, c_hi));
    }

    // --- luma -------------------------------------------------------------

    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) {
        const Reg zeros = _mm_cmpeq_epi16(a, zero());
        return _mm_testz_si128(zeros, zeros) == 0;
    }
    static Reg equal8(Reg a, Reg b) { return _mm_cmpeq_epi8(a, b); }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm_movemask_epi8(a)); }
    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg in_set(const ByteTable<32>& set, Reg x) {
        const Reg index = and_(shr16<3>(x), set8(0x1F));
        const Reg row =
            _mm_blendv_epi8(shuffle(lanes_at(set.at), index), shuffle(lanes_at(set.at + 16), index),
                            _mm_slli_epi16(index, 3));
        const Reg bit =
            shuffle(table([](size_t i) { return i < 8 ? 1u << i : 0; }), and_(x, set8(7)));
        return equal8(and_(row, bit), bit);
    }
    // The luma in double precision.
    static Reg luma_in_doubles(Reg r, Reg g, Reg b) {
        alignas(16) uint8_t in[3][kBytes], out[kBytes];
        store(in[0], r);
        store(in[1], g);
        store(in[2], b);
        for (size_t i = 0; i < kBytes; i += 4) {
            const auto words = [&](size_t k) {
                int four;
                memcpy(&four, in[k] + i, sizeof four);
                return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(four));
            };
            const Reg red = words(0), green = words(1), blue = words(2);
            const auto two = [](Reg r32, Reg g32, Reg b32) {
                const __m128d sum =
                    _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(r32), _mm_set1_pd(0.299)),
                                          _mm_mul_pd(_mm_cvtepi32_pd(g32), _mm_set1_pd(0.587))),
                               _mm_mul_pd(_mm_cvtepi32_pd(b32), _mm_set1_pd(0.114)));
                return _mm_cvttpd_epi32(sum);
            };
            const auto upper = [](Reg x) { return _mm_unpackhi_epi64(x, x); };
            const Reg whole = _mm_unpacklo_epi64(two(red, green, blue),
                                                 two(upper(red), upper(green), upper(blue)));
            const int four = _mm_cvtsi128_si32(_mm_shuffle_epi8(whole, _mm_set1_epi32(0x0C080400)));
            memcpy(out + i, &four, sizeof four);
        }
        return load(out);
    }

    // --- turns ------------------------------------------------------------

    // 16 three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        // Bytes 1 .. 15 of every load, their pixels exchanged.
        shuffle_fives(
            load(src + 32), load(src + 17), load(src + 2), load(src), dst,
            [](size_t i) { return i < 15 ? 13 - i / 3 * 3 + i % 3 : 0; },
            [](size_t i) { return i == 0  ? 5
                                  : i < 4 ? i - 1
                                          : 0; });
    }
    // 16 three-byte pixels with their first and last bytes exchanged.
    static void exchange3(const uint8_t* src, uint8_t* dst) {
        // Bytes 0 .. 14 of every load.
        shuffle_fives(
            load(src), load(src + 15), load(src + 30), load(src + 32), dst,
            [](size_t i) { return i < 15 ? i / 3 * 3 + 2 - i % 3 : 0; },
            [](size_t i) { return i == 0  ? 10
                                  : i < 4 ? 16 - i
                                          : 0; });
    }

    // 4x4 three-byte pixels, transposed as dwords.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        Reg r[4];
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const uint8_t* p = src + i * src_step;
            int last;
            memcpy(&last, p + 8, sizeof last);
            r[i] = shuffle(_mm_insert_epi32(_mm_loadl_epi64((const __m128i*)p), last, 2),
                           [](size_t k) { return k / 4 * 3 + k % 4 % 3; });
        }
        const Reg t0 = _mm_unpacklo_epi32(r[0], r[1]), t1 = _mm_unpacklo_epi32(r[2], r[3]);
        const Reg t2 = _mm_unpackhi_epi32(r[0], r[1]), t3 = _mm_unpackhi_epi32(r[2], r[3]);
        const Reg columns[4] = {_mm_unpacklo_epi64(t0, t1), _mm_unpackhi_epi64(t0, t1),
                                _mm_unpacklo_epi64(t2, t3), _mm_unpackhi_epi64(t2, t3)};
#pragma GCC unroll 4
        for (ptrdiff_t i = 0; i < 4; ++i) {
            const Reg packed = shuffle(columns[i], [](size_t k) {
                return k < 12 ? k / 3 * 4 + k % 3 : size_t{kZeroByte};
            });
            uint8_t* p = dst + i * dst_step;
            const int last = _mm_extract_epi32(packed, 2);
            _mm_storel_epi64((__m128i*)p, packed);
            memcpy(p + 8, &last, sizeof last);
        }
    }

  private:
    // 48 bytes from 5, 5 and 5 pixels and the end (bytes 44 .. 47 of the result):
    // 15 bytes are one shuffle, the 16th byte stored is overwritten by the next.
    // Deinterleaving, and interleaving again, takes twice as long.
    template <class F, class G>
    static void shuffle_fives(Reg a, Reg b, Reg c, Reg end, uint8_t* dst, F index_of,
                              G end_index_of) {
        store(dst, shuffle(a, index_of));
        store(dst + 15, shuffle(b, index_of));
        store(dst + 30, shuffle(c, index_of));
        const int last = _mm_cvtsi128_si32(shuffle(end, end_index_of));
        memcpy(dst + 44, &last, sizeof last);
    }
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        return _mm_blendv_epi8(_mm_blendv_epi8(r0, r1, table(Interleave3<16>::mask(1))), r2,
                               table(Interleave3<16>::mask(2)));
    }
    // Picks from 24 bytes: head holds bytes 0..15, tail 8..23.
    template <class F>
    static Reg merge24(Reg head, Reg tail, F) {
        static constexpr Pick24 kPick = pick24(F{});
        return or_(shuffle(head, kPick.head), shuffle(tail, kPick.tail));
    }
};

}  // namespace imgcnv
