// Grey from colour in integers, equal to the truncated double sum for every one
// of the 2^24 colours.
//
// With t = 299 R + 587 G + 114 B the double sum truncates to floor(t / 1000)
// unless t is a multiple of 1000 (a tie): then rounding in the double sum may
// leave it just below the integer, t / 1000 - 1. In 16 bits:
//
//   d1 = 37 R + 73 G + 14 B   (<= 31620)
//   d2 =  3 R +  3 G +  2 B   (<= 2040)      t = 8 d1 + d2
//   u  = d1 + floor(d2 / 8) = floor(t / 8)   floor(t / 1000) = floor(u / 125)
//                                            = (u x 33555) >> 22
//
// The low 16 bits of t and of 1000 q, q = floor(t / 1000), are equal for ties only,
// that is when d2 = 8 (125 q - d1) in 16 bits.
// Which ties come out lower follows no simple rule. All greys R = G = B are ties,
// and common in pictures (black, white): a table of 256 bits tells. Any other tie,
// one colour in 1000, is computed again in doubles.
#pragma once

#include "simd/permutation.h"

namespace imgcnv {

// The 65 greys g whose double sum falls below g.
consteval ByteTable<32> lower_greys() {
    return byte_table<32>([](size_t i) {
        unsigned bits = 0;
        for (unsigned bit = 0; bit < 8; ++bit) {
            const int grey = static_cast<int>(8 * i + bit);
            const double sum = (0.299 * grey + 0.587 * grey) + 0.114 * grey;
            if (static_cast<int>(sum) != grey) bits |= 1u << bit;
        }
        return bits;
    });
}
// Up to so many ties of a block go to doubles one by one, more all at once.
inline constexpr int kFewTies = 8;

alignas(32) inline constexpr ByteTable<32> kLowerGreys = lower_greys();

template <class V>
static __attribute__((noinline, cold)) typename V::Reg luma_of_ties(typename V::Reg r,
                                                                    typename V::Reg g,
                                                                    typename V::Reg b,
                                                                    typename V::Reg quotient,
                                                                    typename V::Reg tie) {
    const auto grey = V::and_(V::equal8(r, g), V::equal8(g, b));
    const auto lower = V::and_(V::and_(tie, grey), V::in_set(kLowerGreys, g));
    quotient = V::sub8(quotient, V::and_(lower, V::set8(1)));
    uint64_t rest = V::top_bits(V::andnot(grey, tie));
    if (rest == 0) return quotient;
    // A picture of few colours can be all ties.
    // Counted by hand: a population count is a call into libgcc_s on CPUs without it.
    uint64_t more = rest;
    for (int i = 0; i < kFewTies; ++i) more &= more - 1;
    if (more != 0) return V::luma_in_doubles(r, g, b);

    alignas(V::kBytes) uint8_t red[V::kBytes], green[V::kBytes], blue[V::kBytes], out[V::kBytes];
    V::store(red, r);
    V::store(green, g);
    V::store(blue, b);
    V::store(out, quotient);
    for (; rest != 0; rest &= rest - 1) {
        const int i = __builtin_ctzll(rest);
        out[i] = static_cast<uint8_t>(
            static_cast<int>((0.299 * red[i] + 0.587 * green[i]) + 0.114 * blue[i]));
    }
    return V::load(out);
}

template <class V>
inline typename V::Reg luma_of(typename V::Reg r, typename V::Reg g, typename V::Reg b) {
    using Reg = typename V::Reg;
    // maddubs stands in for products with small constants: a 16-bit multiplication
    // by a constant is taken apart by the compiler into more shifts and additions.
    const Reg weights1 = V::set16(73 << 8 | 37), weights2 = V::set16(3 << 8 | 3);
    struct Half {
        Reg quotient;
        typename V::Mask tie;
    };
    const auto half = [&](Reg rg, Reg b16) {
        const Reg d1 = V::add16(V::maddubs(rg, weights1), V::maddubs(b16, V::set16(14)));
        const Reg d2 = V::add16(V::maddubs(rg, weights2), V::add16(b16, b16));
        const Reg u = V::add16(d1, V::template shr16<3>(d2));
        const Reg quotient = V::template shr16<6>(V::mulhi16u(u, V::set16(33555)));
        const Reg rest = V::sub16(V::maddubs(quotient, V::set16(125)), d1);
        return Half{quotient, V::equal16(V::template shl16<3>(rest), d2)};
    };
    const Half lo = half(V::unpack_lo8(r, g), V::widen_lo(b));
    const Half hi = half(V::unpack_hi8(r, g), V::widen_hi(b));
    const Reg quotient = V::pack16(lo.quotient, hi.quotient);
    if (V::any_of(lo.tie, hi.tie)) [[unlikely]] {
        return luma_of_ties<V>(r, g, b, quotient, V::mask_bytes(lo.tie, hi.tie));
    }
    return quotient;
}

}  // namespace imgcnv
