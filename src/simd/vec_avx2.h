// 32-byte vectors of two 16-byte lanes, AVX2.
#pragma once

#include <immintrin.h>

#include "simd/vec_sse4.h"

namespace imgcnv {

template <class Level>
struct Vec32 : LaneVec<Vec32<Level>, 32> {
    using Common = LaneVec<Vec32<Level>, 32>;
    using Reg = typename Common::Reg;
    using Mask = Reg;
    using Common::kBytes;
    using Common::load;
    using Common::mix3;
    using Common::shuffle;
    using Common::store;
    using Common::table;
    using Common::zero;
    static constexpr bool kNarrowest = false;
    using Narrower = Vec16<Level>;

    // p aligned
    static void stream(uint8_t* p, Reg x) { _mm256_stream_si256((__m256i*)p, x); }
    // The same table in both lanes; unlike the intrinsic, at compile time.
    static Reg table(const ByteTable<16>& t) {
        using Bytes = char __attribute__((vector_size(16)));
        const Bytes x = (Bytes)_mm_load_si128((const __m128i*)t.at);
        return (Reg)__builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                            15, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                            15);
    }
    static Reg shuffle(Reg a, Reg indices) { return _mm256_shuffle_epi8(a, indices); }
    static __m128i load16(const uint8_t* p) { return _mm_loadu_si128((const __m128i*)p); }
    static Reg load_lanes(const uint8_t* p, ptrdiff_t step) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(p + step), 1);
    }

    static bool is_zero(Reg a) { return _mm256_testz_si256(a, a) != 0; }
    // a where the bits of mask are 1, else b; all bits of a byte are alike
    static Reg bit_select(Reg mask, Reg a, Reg b) { return _mm256_blendv_epi8(b, a, mask); }
    static Reg mulhi16(Reg a, Reg b) { return _mm256_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm256_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm256_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm256_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm256_min_epi16(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) { return _mm256_maddubs_epi16(a, b); }
    static Mask greater16(Reg a, Reg b) { return _mm256_cmpgt_epi16(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm256_blendv_epi8(b, a, m); }
    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) { return !is_zero(_mm256_cmpeq_epi16(a, zero())); }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return static_cast<uint32_t>(_mm256_movemask_epi8(a)); }

    // 16-bit lanes, within 16 bytes: inverse of one another
    static Reg pack16(Reg lo, Reg hi) { return _mm256_packus_epi16(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) { return _mm256_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm256_unpackhi_epi8(a, b); }
    // Words below 256 as bytes, in order: packing interleaves the lanes of its inputs.
    static Reg narrow(Reg lo, Reg hi) { return _mm256_permute4x64_epi64(pack16(lo, hi), 0xD8); }
    static Reg reverse(Reg a) {
        const Reg lanes = shuffle(a, [](size_t i) { return 15 - i; });
        return _mm256_permute2x128_si256(lanes, lanes, 0x01);
    }

    // 16 bytes as 16-bit lanes.
    static Reg load_widened(const uint8_t* p) { return _mm256_cvtepu8_epi16(load16(p)); }
    static Reg load_bits(const uint8_t* p) {
        int bits;
        memcpy(&bits, p, sizeof bits);
        const Reg bit = table([](size_t i) { return 1u << i % 8; });
        const Reg byte_of_pixel = _mm256_setr_epi64x(0x0000000000000000, 0x0101010101010101,
                                                     0x0202020202020202, 0x0303030303030303);
        const Reg spread = shuffle(_mm256_set1_epi32(bits), byte_of_pixel);
        return Common::equal8(spread & bit, bit);
    }

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
        const Reg c_lo = unpack_lo8(c, zero()), c_hi = unpack_hi8(c, zero());
        store(p, _mm256_unpacklo_epi16(ab_lo, c_lo));
        store(p + 32, _mm256_unpackhi_epi16(ab_lo, c_lo));
        store(p + 64, _mm256_unpacklo_epi16(ab_hi, c_hi));
        store(p + 96, _mm256_unpackhi_epi16(ab_hi, c_hi));
    }

    // 32 three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        Narrower::reverse3(src + 48, dst);
        Narrower::reverse3(src, dst + 48);
    }
    // 32 three-byte pixels with their first and last bytes exchanged.
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
        Narrower::swap_rb3(src, dst);
        Narrower::swap_rb3(src + 48, dst + 48);
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
    // Stores 48 bytes of the low lanes, then 48 of the high lanes.
    static void store_lanes3(uint8_t* p, Reg v0, Reg v1, Reg v2) {
        store(p, _mm256_permute2x128_si256(v0, v1, 0x20));
        store(p + 32, _mm256_blend_epi32(v2, v0, 0xF0));
        store(p + 64, _mm256_permute2x128_si256(v1, v2, 0x31));
    }
};

}  // namespace imgcnv
