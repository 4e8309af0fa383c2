// 32-byte vectors of two 16-byte lanes, AVX2.
#pragma once

#include <immintrin.h>

#include <string.h>

#include "simd/permutation.h"
#include "simd/vec_sse4.h"

namespace imgcnv {

template <class Level>
struct Vec32 {
    static constexpr bool kNarrowest = false;
    using Narrower = Vec16<Level>;
    static constexpr bool kMasks = false;
    using OfCopies = Vec32;
    using Reg = __m256i;
    using Mask = __m256i;  // of 16-bit lanes
    static constexpr size_t kBytes = 32;

    static Reg load(const uint8_t* p) { return _mm256_loadu_si256((const __m256i*)p); }
    static void store(uint8_t* p, Reg x) { _mm256_storeu_si256((__m256i*)p, x); }
    static void copy_long(uint8_t* dst, const uint8_t* src, size_t bytes) {
        memcpy(dst, src, bytes);
    }
    // p aligned
    static void stream(uint8_t* p, Reg x) { _mm256_stream_si256((__m256i*)p, x); }
    static __m128i load16(const uint8_t* p) { return _mm_loadu_si128((const __m128i*)p); }
    // The same table in both lanes; unlike the intrinsic, at compile time. Measured with 63
    // columns and padding: .78 to 1.0 of the time.
    static Reg table(const ByteTable<16>& t) {
        using Bytes = char __attribute__((vector_size(16)));
        const Bytes x = (Bytes)_mm_load_si128((const __m128i*)t.at);
        return (Reg)__builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                            15, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                            15);
    }
    static Reg shuffle(Reg a, const ByteTable<16>& t) { return _mm256_shuffle_epi8(a, table(t)); }
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
    static Reg shuffle(Reg a, Reg indices) { return _mm256_shuffle_epi8(a, indices); }
    // One 16-byte piece for every 128-bit lane, `step` bytes apart.
    static Reg load_lanes(const uint8_t* p, ptrdiff_t step) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(p + step), 1);
    }
    // The same 16 bytes in every lane.
    static Reg lanes_at(const uint8_t* p) { return _mm256_broadcastsi128_si256(load16(p)); }

    static Reg zero() { return _mm256_setzero_si256(); }
    static Reg set8(int x) { return _mm256_set1_epi8(static_cast<char>(x)); }
    static Reg set16(int x) { return _mm256_set1_epi16(static_cast<short>(x)); }
    static Reg set32(int x) { return _mm256_set1_epi32(x); }

    static Reg and_(Reg a, Reg b) { return _mm256_and_si256(a, b); }
    static Reg or_(Reg a, Reg b) { return _mm256_or_si256(a, b); }
    static Reg xor_(Reg a, Reg b) { return _mm256_xor_si256(a, b); }
    static bool is_zero(Reg a) { return _mm256_testz_si256(a, a) != 0; }
    static Reg andnot(Reg a, Reg b) { return _mm256_andnot_si256(a, b); }  // ~a & b
    // a where the bits of mask are 1, else b
    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm256_blendv_epi8(b, a, mask); }

    static Reg sub8(Reg a, Reg b) { return _mm256_sub_epi8(a, b); }
    static Reg add16(Reg a, Reg b) { return _mm256_add_epi16(a, b); }
    static Reg sub16(Reg a, Reg b) { return _mm256_sub_epi16(a, b); }
    static Reg mulhi16(Reg a, Reg b) { return _mm256_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm256_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm256_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm256_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm256_min_epi16(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) { return _mm256_maddubs_epi16(a, b); }
    template <int k>
    static Reg shl16(Reg a) {
        return _mm256_slli_epi16(a, k);
    }
    template <int k>
    static Reg shr16(Reg a) {
        return _mm256_srli_epi16(a, k);
    }
    template <int k>
    static Reg sar16(Reg a) {
        return _mm256_srai_epi16(a, k);
    }
    static Mask greater16(Reg a, Reg b) { return _mm256_cmpgt_epi16(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm256_blendv_epi8(b, a, m); }

    // 16-bit lanes, within 128 bits: inverse of one another
    static Reg widen_lo(Reg a) { return _mm256_unpacklo_epi8(a, zero()); }
    static Reg widen_hi(Reg a) { return _mm256_unpackhi_epi8(a, zero()); }
    static Reg pack16(Reg lo, Reg hi) { return _mm256_packus_epi16(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) { return _mm256_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm256_unpackhi_epi8(a, b); }

    static Reg dup_even(Reg a) {
        return shuffle(a, [](size_t i) { return i & ~1u; });
    }
    static Reg dup_odd(Reg a) {
        return shuffle(a, [](size_t i) { return i | 1; });
    }

    static Reg reverse(Reg a) {
        const Reg lanes = shuffle(a, [](size_t i) { return 15 - i; });
        return _mm256_permute2x128_si256(lanes, lanes, 0x01);
    }

    // --- sources ----------------------------------------------------------

    // Little-endian words, shifted right, low bytes.
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        const auto bytes = [](Reg words) {
            return kShift == 8 ? shr16<8>(words) : and_(shr16<kShift>(words), set16(0xFF));
        };
        // Packing interleaves the lanes of its inputs; put them back in order.
        return _mm256_permute4x64_epi64(pack16(bytes(load(p)), bytes(load(p + 32))), 0xD8);
    }
    // 16 bytes as 16-bit lanes.
    static Reg load_widened(const uint8_t* p) { return _mm256_cvtepu8_epi16(load16(p)); }
    static Reg load_bits(const uint8_t* p) {
        uint32_t bits;
        memcpy(&bits, p, sizeof bits);
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        const Reg byte_of_pixel = _mm256_setr_epi64x(0x0000000000000000, 0x0101010101010101,
                                                     0x0202020202020202, 0x0303030303030303);
        const Reg spread = shuffle(set32(static_cast<int>(bits)), byte_of_pixel);
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
        store_lanes3(p, mix3(a, b, c), mix3(b, c, a), mix3(c, a, b));
    }
    static void store3_grey(uint8_t* p, Reg g) {
        store_lanes3(p, shuffle(g, Interleave3<16>::grey(0)), shuffle(g, Interleave3<16>::grey(1)),
                     shuffle(g, Interleave3<16>::grey(2)));
    }
    // a b c 0
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        // Dwords put where unpacking within the lanes leaves every output in order.
        const Reg order = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
        a = _mm256_permutevar8x32_epi32(a, order);
        b = _mm256_permutevar8x32_epi32(b, order);
        c = _mm256_permutevar8x32_epi32(c, order);
        const Reg ab_lo = unpack_lo8(a, b), ab_hi = unpack_hi8(a, b);
        const Reg c_lo = widen_lo(c), c_hi = widen_hi(c);
        store(p, _mm256_unpacklo_epi16(ab_lo, c_lo));
        store(p + 32, _mm256_unpackhi_epi16(ab_lo, c_lo));
        store(p + 64, _mm256_unpacklo_epi16(ab_hi, c_hi));
        store(p + 96, _mm256_unpackhi_epi16(ab_hi, c_hi));
    }

    // --- luma -------------------------------------------------------------

    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) {
        const Reg zeros = _mm256_cmpeq_epi16(a, zero());
        return _mm256_testz_si256(zeros, zeros) == 0;
    }
    static Reg equal8(Reg a, Reg b) { return _mm256_cmpeq_epi8(a, b); }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm256_movemask_epi8(a)); }
    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg in_set(const ByteTable<32>& set, Reg x) {
        const Reg index = and_(shr16<3>(x), set8(0x1F));
        const Reg row =
            _mm256_blendv_epi8(shuffle(lanes_at(set.at), index),
                               shuffle(lanes_at(set.at + 16), index), _mm256_slli_epi16(index, 3));
        const Reg bit =
            shuffle(table([](size_t i) { return i < 8 ? 1u << i : 0; }), and_(x, set8(7)));
        return equal8(and_(row, bit), bit);
    }
    // The luma in double precision.
    static Reg luma_in_doubles(Reg r, Reg g, Reg b) {
        alignas(32) uint8_t in[3][kBytes], out[kBytes];
        store(in[0], r);
        store(in[1], g);
        store(in[2], b);
        for (size_t i = 0; i < kBytes; i += 4) {
            const auto doubles = [&](size_t k) {
                int four;
                memcpy(&four, in[k] + i, sizeof four);
                return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
            };
            const __m256d sum =
                _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(doubles(0), _mm256_set1_pd(0.299)),
                                            _mm256_mul_pd(doubles(1), _mm256_set1_pd(0.587))),
                              _mm256_mul_pd(doubles(2), _mm256_set1_pd(0.114)));
            const int four = _mm_cvtsi128_si32(
                _mm_shuffle_epi8(_mm256_cvttpd_epi32(sum), _mm_set1_epi32(0x0C080400)));
            memcpy(out + i, &four, sizeof four);
        }
        return load(out);
    }

    // --- turns ------------------------------------------------------------

    // 32 three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        Narrower::reverse3(src + 48, dst);
        Narrower::reverse3(src, dst + 48);
    }
    // 32 three-byte pixels with their first and last bytes exchanged.
    static void exchange3(const uint8_t* src, uint8_t* dst) {
        Narrower::exchange3(src, dst);
        Narrower::exchange3(src + 48, dst + 48);
    }

    // 8x8 three-byte pixels, transposed as dwords.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        Reg r[8], t[8];
        const Reg spread = _mm256_setr_epi8(0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11,  //
                                            4, 5, 6, 6, 7, 8, 9, 9, 10, 11, 12, 12, 13, 14, 15, 15);
#pragma GCC unroll 8
        for (ptrdiff_t i = 0; i < 8; ++i) {
            r[i] = shuffle(load_lanes(src + i * src_step, 8), spread);
        }
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) {
            t[2 * i] = _mm256_unpacklo_epi32(r[2 * i], r[2 * i + 1]);
            t[2 * i + 1] = _mm256_unpackhi_epi32(r[2 * i], r[2 * i + 1]);
        }
#pragma GCC unroll 2
        for (size_t i = 0; i < 2; ++i) {
            r[4 * i] = _mm256_unpacklo_epi64(t[4 * i], t[4 * i + 2]);
            r[4 * i + 1] = _mm256_unpackhi_epi64(t[4 * i], t[4 * i + 2]);
            r[4 * i + 2] = _mm256_unpacklo_epi64(t[4 * i + 1], t[4 * i + 3]);
            r[4 * i + 3] = _mm256_unpackhi_epi64(t[4 * i + 1], t[4 * i + 3]);
        }
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) {
            t[i] = _mm256_permute2x128_si256(r[i], r[i + 4], 0x20);
            t[i + 4] = _mm256_permute2x128_si256(r[i], r[i + 4], 0x31);
        }
#pragma GCC unroll 8
        for (ptrdiff_t i = 0; i < 8; ++i) {
            const Reg lanes = shuffle(
                t[i], [](size_t k) { return k < 12 ? k / 3 * 4 + k % 3 : size_t{kZeroByte}; });
            const Reg packed =
                _mm256_permutevar8x32_epi32(lanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
            uint8_t* p = dst + i * dst_step;
            _mm_storeu_si128((__m128i*)p, _mm256_castsi256_si128(packed));
            _mm_storel_epi64((__m128i*)(p + 16), _mm256_extracti128_si256(packed, 1));
        }
    }

  private:
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        return _mm256_blendv_epi8(_mm256_blendv_epi8(r0, r1, table(Interleave3<16>::mask(1))), r2,
                                  table(Interleave3<16>::mask(2)));
    }
    // Stores 48 bytes of the low lanes, then 48 of the high lanes.
    static void store_lanes3(uint8_t* p, Reg v0, Reg v1, Reg v2) {
        store(p, _mm256_permute2x128_si256(v0, v1, 0x20));
        store(p + 32, _mm256_blend_epi32(v2, v0, 0xF0));
        store(p + 64, _mm256_permute2x128_si256(v1, v2, 0x31));
    }
    // Picks from 24 bytes a lane: head holds bytes 0..15, tail 8..23.
    template <class F>
    static Reg merge24(Reg head, Reg tail, F) {
        static constexpr Pick24 kPick = pick24(F{});
        return or_(shuffle(head, kPick.head), shuffle(tail, kPick.tail));
    }
};

}  // namespace imgcnv
