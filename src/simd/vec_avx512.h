// 64-byte vectors, AVX-512 with F, BW, VL, DQ and VBMI.
#pragma once

#include <immintrin.h>

#include "simd/vec_avx2.h"

namespace imgcnv {

template <class Level>
struct Vec64 : VecCommon<Vec64<Level>, 64> {
    using Common = VecCommon<Vec64<Level>, 64>;
    using Reg = typename Common::Reg;
    using Mask = __mmask32;  // of 16-bit lanes
    using Common::and_;
    using Common::kBytes;
    using Common::load;
    using Common::set8;
    using Common::store;
    using Common::zero;
    static constexpr bool kNarrowest = false;
    using Narrower = Vec32<Level>;
    // 64 bytes that begin anywhere cross a cache line every time.
    using CopyVector = Narrower;

    // p aligned
    static void stream(uint8_t* p, Reg x) { _mm512_stream_si512((__m512i*)p, x); }
    // Beyond the second-level cache this instruction avoids the loads of memcpy that wait where a
    // store lies a multiple of 4096 before them. CPUs of this level are quick with it.
    static void copy_large(uint8_t* dst, const uint8_t* src, size_t bytes) {
        constexpr size_t kLarge = size_t{1} << 20;
        if (bytes < kLarge) {
            memcpy(dst, src, bytes);
        } else {
            __asm__ volatile("rep movsb" : "+D"(dst), "+S"(src), "+c"(bytes) : : "memory");
        }
    }
    static constexpr bool kMasks = true;  // loads and stores parts of vectors
    // `bytes` bytes to (from) a buffer of kSize, a whole number of vectors; copied in, the
    // rest of the buffer becomes 0.
    template <size_t kSize>
    static void copy_in(uint8_t* buffer, const uint8_t* src, size_t bytes) {
#pragma GCC unroll 8
        for (size_t i = 0; i < kSize; i += kBytes) {
            store(buffer + i, _mm512_maskz_loadu_epi8(first_of(bytes, i), src + i));
        }
    }
    template <size_t kSize>
    static void copy_out(uint8_t* dst, const uint8_t* buffer, size_t bytes) {
#pragma GCC unroll 8
        for (size_t i = 0; i < kSize; i += kBytes) {
            _mm512_mask_storeu_epi8(dst + i, first_of(bytes, i), load(buffer + i));
        }
    }
    // Those of the first `bytes` that lie in the vector at `from`.
    static __mmask64 first_of(size_t bytes, size_t from) {
        if (bytes <= from) return 0;
        const size_t left = bytes - from;
        return left >= kBytes ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
    }
    template <size_t kSize>
    static Reg table(const ByteTable<kSize>& t) {
        static_assert(kSize == kBytes);
        return _mm512_load_si512(t.at);
    }

    // The table of a captureless lambda, made at compile time.
    template <class F>
    static Reg table(F) {
        static constexpr ByteTable<64> kTable = byte_table<64>(F{});
        return table(kTable);
    }

    static bool is_zero(Reg a) { return _mm512_test_epi32_mask(a, a) == 0; }
    // a where the bits of mask are 1, else b
    static Reg bit_select(Reg mask, Reg a, Reg b) {
        return _mm512_ternarylogic_epi64(mask, a, b, 0xCA);
    }

    static Reg mulhi16(Reg a, Reg b) { return _mm512_mulhi_epi16(a, b); }
    static Reg mulhi16u(Reg a, Reg b) { return _mm512_mulhi_epu16(a, b); }
    static Reg abs16(Reg a) { return _mm512_abs_epi16(a); }
    static Reg max16(Reg a, Reg b) { return _mm512_max_epi16(a, b); }
    static Reg min16(Reg a, Reg b) { return _mm512_min_epi16(a, b); }
    // unsigned bytes times signed bytes, neighbours added to 16 bits
    static Reg maddubs(Reg a, Reg b) { return _mm512_maddubs_epi16(a, b); }
    static Mask greater16(Reg a, Reg b) { return _mm512_cmpgt_epi16_mask(a, b); }
    static Reg select16(Mask m, Reg a, Reg b) { return _mm512_mask_blend_epi16(m, b, a); }

    // Whether any 16-bit lane is 0.
    static bool has_zero16(Reg a) { return _mm512_testn_epi16_mask(a, a) != 0; }
    // One bit for every byte whose top bit is set.
    static uint64_t top_bits(Reg a) { return _mm512_movepi8_mask(a); }
    static Reg equal8(Reg a, Reg b) { return _mm512_movm_epi8(_mm512_cmpeq_epi8_mask(a, b)); }

    // 16-bit lanes, within 16 bytes: inverse of one another
    static Reg pack16(Reg lo, Reg hi) { return _mm512_packus_epi16(lo, hi); }
    static Reg unpack_lo8(Reg a, Reg b) { return _mm512_unpacklo_epi8(a, b); }
    static Reg unpack_hi8(Reg a, Reg b) { return _mm512_unpackhi_epi8(a, b); }
    // Within every 16 bytes; index_of: a captureless lambda.
    template <class F>
    static Reg shuffle(Reg a, F) {
        return _mm512_shuffle_epi8(a, table([](size_t i) { return F{}(i % 16); }));
    }
    static Reg reverse(Reg a) {
        return _mm512_permutexvar_epi8(table([](size_t i) { return 63 - i; }), a);
    }

    // 64 little-endian words, shifted right, low bytes.
    template <int kShift>
    static Reg load_words(const uint8_t* p) {
        if constexpr (kShift == 8) {
            return narrow<1>(load(p), load(p + 64));
        } else {
            return narrow<0>(Common::template shr16<kShift>(load(p)),
                             Common::template shr16<kShift>(load(p + 64)));
        }
    }
    // Byte kByte of every 16-bit lane of a, then of b.
    template <int kByte>
    static Reg narrow(Reg a, Reg b) {
        return _mm512_permutex2var_epi8(a, table([](size_t i) { return 2 * i + kByte; }), b);
    }
    static Reg load_packed(const uint8_t* p) {
        const Reg tail = _mm512_castsi256_si512(_mm256_loadu_si256((const __m256i*)(p + 64)));
        return _mm512_permutex2var_epi8(
            load(p), table([](size_t i) { return i / 2 * 3 + i % 2 * 2; }), tail);
    }
    // 32 bytes as 16-bit lanes.
    static Reg load_widened(const uint8_t* p) {
        return _mm512_cvtepu8_epi16(_mm256_loadu_si256((const __m256i*)p));
    }
    static Reg load_bits(const uint8_t* p) {
        __mmask64 bits;
        memcpy(&bits, p, sizeof bits);
        return _mm512_movm_epi8(bits);
    }
    // Bytes of r0, r1, r2 where i mod 3 is 0, 1, 2. Clang must not see the masks: it would merge
    // these blends into permutations of two registers, twice as many of the slowest instructions.
    static Reg mix3(Reg r0, Reg r1, Reg r2) {
        __mmask64 second = 0x2492492492492492, third = 0x4924924924924924;
#if defined(__clang__)
        __asm__("" : "+k"(second), "+k"(third));
#endif
        return _mm512_mask_blend_epi8(third, _mm512_mask_blend_epi8(second, r0, r1), r2);
    }
    static void load3(const uint8_t* p, Reg& a, Reg& b, Reg& c) {
        const Reg v0 = load(p), v1 = load(p + 64), v2 = load(p + 128);
        const auto pick = [&](const ByteTable<64>& gather, Reg r0, Reg r1, Reg r2) {
            // r0, r1, r2: the outputs that hold the channel at i mod 3 = 0, 1, 2
            return _mm512_permutexvar_epi8(table(gather), mix3(r0, r1, r2));
        };
        a = pick(Interleave3<64>::gather(0), v0, v2, v1);
        b = pick(Interleave3<64>::gather(1), v1, v0, v2);
        c = pick(Interleave3<64>::gather(2), v2, v1, v0);
    }
    // Words of 2-pixel groups, in the order of pack16.
    static void load_yuv422(const uint8_t* p, Reg& lo, Reg& hi) {
        const Reg a = load(p), b = load(p + 64);
        lo = _mm512_shuffle_i32x4(a, b, 0x88);
        hi = _mm512_shuffle_i32x4(a, b, 0xDD);
    }
    // 6-byte groups: two at byte 0 of every 16 of lo, two at byte 4 of hi, in the
    // order of pack16.
    static void load_yuv411(const uint8_t* p, Reg& lo, Reg& hi) {
        const Reg head = load(p);
        const Reg tail = _mm512_castsi256_si512(_mm256_loadu_si256((const __m256i*)(p + 64)));
        lo = _mm512_permutex2var_epi64(head, _mm512_setr_epi64(0, 1, 3, 4, 6, 7, 9, 10), tail);
        hi = _mm512_permutex2var_epi64(head, _mm512_setr_epi64(1, 2, 4, 5, 7, 8, 10, 11), tail);
    }

    static void store3(uint8_t* p, Reg a, Reg b, Reg c) {
        a = _mm512_permutexvar_epi8(table(Interleave3<64>::spread(0)), a);
        b = _mm512_permutexvar_epi8(table(Interleave3<64>::spread(1)), b);
        c = _mm512_permutexvar_epi8(table(Interleave3<64>::spread(2)), c);
        store(p, mix3(a, b, c));
        store(p + 64, mix3(b, c, a));
        store(p + 128, mix3(c, a, b));
    }
    static void store3_grey(uint8_t* p, Reg g) {
        store(p, _mm512_permutexvar_epi8(table(Interleave3<64>::grey(0)), g));
        store(p + 64, _mm512_permutexvar_epi8(table(Interleave3<64>::grey(1)), g));
        store(p + 128, _mm512_permutexvar_epi8(table(Interleave3<64>::grey(2)), g));
    }
    // a b c 0
    static void store4(uint8_t* p, Reg a, Reg b, Reg c) {
        // Dwords transposed 4x4 first, so that unpacking within 128 bits leaves
        // every output in order.
        const Reg order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        a = _mm512_permutexvar_epi32(order, a);
        b = _mm512_permutexvar_epi32(order, b);
        c = _mm512_permutexvar_epi32(order, c);
        const Reg ab_lo = _mm512_unpacklo_epi8(a, b), ab_hi = _mm512_unpackhi_epi8(a, b);
        const Reg c_lo = _mm512_unpacklo_epi8(c, zero()), c_hi = _mm512_unpackhi_epi8(c, zero());
        store(p, _mm512_unpacklo_epi16(ab_lo, c_lo));
        store(p + 64, _mm512_unpackhi_epi16(ab_lo, c_lo));
        store(p + 128, _mm512_unpacklo_epi16(ab_hi, c_hi));
        store(p + 192, _mm512_unpackhi_epi16(ab_hi, c_hi));
    }

    // 0xFF for every byte value x whose bit is set in the 256-bit table.
    static Reg bitmap_contains(const ByteTable<32>& bitmap, Reg x) {
        const Reg bytes = _mm512_broadcast_i64x4(_mm256_load_si256((const __m256i*)bitmap.at));
        const Reg row =
            _mm512_permutexvar_epi8(and_(Common::template shr16<3>(x), set8(0x1F)), bytes);
        return _mm512_movm_epi8(_mm512_test_epi8_mask(row, bit_in_byte(x)));
    }
    // 1 << x % 8
    static Reg bit_in_byte(Reg x) {
        return _mm512_shuffle_epi8(table([](size_t i) { return i % 16 < 8 ? 1u << i % 8 : 0; }),
                                   and_(x, set8(7)));
    }

    // 64 three-byte pixels in reverse order.
    static void reverse3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, reverse(a), reverse(b), reverse(c));
    }
    // 64 three-byte pixels with their first and last bytes exchanged.
    static void swap_rb3(const uint8_t* src, uint8_t* dst) {
        Reg a, b, c;
        load3(src, a, b, c);
        store3(dst, c, b, a);
    }

    static __m128i load16(const uint8_t* p) { return _mm_loadu_si128((const __m128i*)p); }
    // One 16-byte piece for every 128-bit lane, `step` bytes apart.
    static Reg load_lanes(const uint8_t* p, ptrdiff_t step) {
        const __m256i low =
            _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(p + step), 1);
        const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p + 2 * step)),
                                                     load16(p + 3 * step), 1);
        return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
    }
    // 16x16 three-byte pixels, transposed as dwords.
    static void transpose3(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                           ptrdiff_t dst_step) {
        Reg r[16], t[16];
        const Reg spread = table([](size_t i) { return i / 4 * 3 + i % 4 % 3; });
        const Reg squeeze = table([](size_t i) { return i < 48 ? i / 3 * 4 + i % 3 : 0; });
#pragma GCC unroll 16
        for (ptrdiff_t i = 0; i < 16; ++i) {
            r[i] = _mm512_permutexvar_epi8(
                spread, _mm512_maskz_loadu_epi8((__mmask64{1} << 48) - 1, src + i * src_step));
        }
        // Interleaving row i with row i + 8 rotates the number (row, dword) by
        // one bit; the dwords of a register are interleaved across its lanes.
        const Reg low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        const Reg high =
            _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
        const auto interleave = [&](const Reg* from, Reg* to) {
#pragma GCC unroll 8
            for (size_t i = 0; i < 8; ++i) {
                to[2 * i] = _mm512_permutex2var_epi32(from[i], low, from[i + 8]);
                to[2 * i + 1] = _mm512_permutex2var_epi32(from[i], high, from[i + 8]);
            }
        };
        interleave(r, t);
        interleave(t, r);
        interleave(r, t);
        interleave(t, r);
#pragma GCC unroll 16
        for (ptrdiff_t i = 0; i < 16; ++i) {
            const Reg packed = _mm512_permutexvar_epi8(squeeze, r[i]);
            uint8_t* p = dst + i * dst_step;
            // Two plain stores: a masked byte store is slow on some CPUs.
            _mm256_storeu_si256((__m256i*)p, _mm512_castsi512_si256(packed));
            _mm_storeu_si128((__m128i*)(p + 32), _mm512_extracti32x4_epi32(packed, 2));
        }
    }
};

}  // namespace imgcnv
