// 16-byte vectors, SSE4.1.
#pragma once

#include <smmintrin.h>

#include "simd/vec_common.h"

namespace imgcnv {

template <class Level>
struct Vec16 : LaneVec<Vec16<Level>, 16> {
    using Common = LaneVec<Vec16<Level>, 16>;
    using Reg = typename Common::Reg;
    using Mask = Reg;
    using Common::kBytes;
    using Common::load;
    using Common::set8;
    using Common::shuffle;
    using Common::store;
    using Common::table;
    using Common::zero;
    static constexpr bool kNarrowest = true;

    // p aligned
    static void stream(uint8_t* p, Reg x) { _mm_stream_si128((__m128i*)p, x); }
    static Reg table(const ByteTable<16>& t) { return _mm_load_si128((const __m128i*)t.at); }
    static Reg shuffle(Reg a, Reg indices) { return _mm_shuffle_epi8(a, indices); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t) { return load(p); }

    static bool is_zero(Reg a) { return _mm_testz_si128(a, a) != 0; }
    // a where the bits of mask are 1, else b; all bits of a byte are alike
    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm_blendv_epi8(b, a, mask); }
    static Reg mulhi16(Reg a, Reg b) { return _mm_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm_min_epi16(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) { return _mm_maddubs_epi16(a, b); }
    static Mask greater16(Reg a, Reg b) { return _mm_cmpgt_epi16(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm_blendv_epi8(b, a, m); }
    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) { return !is_zero(_mm_cmpeq_epi16(a, zero())); }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm_movemask_epi8(a)); }

    // 16-bit lanes: inverse of one another
    static Reg pack16(Reg lo, Reg hi) { return _mm_packus_epi16(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) { return _mm_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm_unpackhi_epi8(a, b); }
    // Words below 256 as bytes, in order.
    static Reg narrow(Reg lo, Reg hi) { return pack16(lo, hi); }
    static Reg reverse(Reg a) {
        return shuffle(a, [](size_t i) { return 15 - i; });
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
        return Common::equal8(spread & bit, bit);
    }

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
        const Reg c_lo = unpack_lo8(c, zero()), c_hi = unpack_hi8(c, zero());
        store(p, _mm_unpacklo_epi16(ab_lo, c_lo));
        store(p + 16, _mm_unpackhi_epi16(ab_lo, c_lo));
        store(p + 32, _mm_unpacklo_epi16(ab_hi, c_hi));
        store(p + 48, _mm_unpackhi_epi16(ab_hi, c_hi));
    }

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
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
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
};

}  // namespace imgcnv
