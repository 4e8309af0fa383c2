// Grey from colour in integers, equal to the truncated double sum for every one
// of the 2^24 colours.
//
// With t = 299 R + 587 G + 114 B the double sum truncates to floor(t / 1000)
// unless t is a multiple of 1000 (a tie): then rounding in the double sum may
// leave it just below the integer, t / 1000 - 1. In 16 bits:
//
//   d1 = 37 R + 73 G + 14 B          (<= 31620)
//   d2 =  3 R +  3 G +  2 B          (<= 2040)     t = 8 d1 + d2
//   u  = d1 + floor(d2 / 8) = floor(t / 8)         floor(t / 1000) = floor(u / 125)
//   m  = floor(2 u x 33555 / 2^16)                 floor(u / 125) = m >> 7
//
// The low 7 bits of m are the fraction of u / 125, a little above the true one:
// by less than 1/128, which in turn is less than 1/125. They are 0 for multiples of
// 125 only. t is a tie when they are and the low 3 bits of d2 are, too; with 16 d2
// in place of d2 both stand in the same 7 bits.
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
// Ties are looked at colour by colour, in all pixels at once: a flat area has one.
// Where more than so many are left after that, doubles for all.
inline constexpr int kFewTies = 4;

alignas(32) inline constexpr ByteTable<32> kLowerGreys = lower_greys();

// The last tie that took doubles, in every byte, and its grey: flat areas ask for one
// again and again. Forgotten when it did not help, for greys to be as quick as without.
template <class V>
struct LastTie {
    using Reg = typename V::Reg;

    bool known = false;
    Reg red, green, blue, grey;

    Reg where(Reg r, Reg g, Reg b) const {
        return V::and_(V::equal8(r, red), V::and_(V::equal8(g, green), V::equal8(b, blue)));
    }
};

// The last vectors of lanes that were ties throughout, and their grey: in a flat area the next
// ones are the same. (Nearest, which computes least, takes .6 to .7 of the time there, and 1.02
// elsewhere. The other methods gain less than that, and adaptive would take 1.07 elsewhere.)
template <class V>
struct LastTies {
    using Reg = typename V::Reg;

    bool known = false;
    Reg pair[2], single[2], grey;

    bool are(const Reg p[2], const Reg s[2]) const {
        const Reg pairs = V::or_(V::xor_(p[0], pair[0]), V::xor_(p[1], pair[1]));
        const Reg singles = V::or_(V::xor_(s[0], single[0]), V::xor_(s[1], single[1]));
        return known && V::is_zero(V::or_(pairs, singles));
    }
};

// (All but the doubles inlined: flat areas .9 to 1.0 of the time, the library 170 KB larger.)
template <class V>
static __attribute__((noinline, cold)) typename V::Reg luma_of_ties(
    typename V::Reg r, typename V::Reg g, typename V::Reg b, typename V::Reg quotient,
    typename V::Reg tie, LastTie<V>& last) {
    if (last.known) {
        const auto same = last.where(r, g, b);
        quotient = V::bit_select(same, last.grey, quotient);
        tie = V::andnot(same, tie);
        if (V::top_bits(tie) == 0) return quotient;
        last.known = false;
    }
    const auto grey = V::and_(V::equal8(r, g), V::equal8(g, b));
    const auto lower = V::and_(V::and_(tie, grey), V::bitmap_contains(kLowerGreys, g));
    quotient = V::sub8(quotient, V::and_(lower, V::set8(1)));
    uint64_t rest = V::top_bits(V::andnot(grey, tie));
    if (rest == 0) return quotient;

    alignas(V::kBytes) uint8_t red[V::kBytes], green[V::kBytes], blue[V::kBytes];
    V::store(red, r);
    V::store(green, g);
    V::store(blue, b);
    for (;;) {
        const int i = __builtin_ctzll(rest);
        const int luma = static_cast<int>((0.299 * red[i] + 0.587 * green[i]) + 0.114 * blue[i]);
        last = {false, V::set8(red[i]), V::set8(green[i]), V::set8(blue[i]), V::set8(luma)};
        const auto same = last.where(r, g, b);
        quotient = V::bit_select(same, last.grey, quotient);
        const uint64_t here = V::top_bits(same);
        last.known = (here & (here - 1)) != 0;  // not a single pixel among others
        rest &= ~here;
        if (rest == 0) return quotient;
        // Counting bits would call libgcc on CPUs without popcnt.
        uint64_t many = rest;
        for (int k = 0; k < kFewTies; ++k) many &= many - 1;
        if (many != 0) return V::luma_in_doubles(r, g, b);
    }
}

enum Channel : int { kRed, kGreen, kBlue };

// Pixels in the 16-bit lanes of a vector: kLow and kHigh are the channels in the bytes of
// `pair`, the third one is alone in `single`.
template <class V, Channel kLow, Channel kHigh>
struct LumaSums {
    using Reg = typename V::Reg;
    static constexpr Channel kSingle = static_cast<Channel>(kRed + kGreen + kBlue - kLow - kHigh);

    Reg m;
    Reg rest;  // 0 for ties, else 1..127

    LumaSums(Reg pair, Reg single) {
        // maddubs stands in for products with small constants: a 16-bit multiplication
        // by a constant is taken apart by the compiler into more shifts and additions.
        constexpr int kWeights1[] = {37, 73, 14}, kWeights2[] = {48, 48, 32};
        const auto sum = [&](const int* weights) {
            return V::add16(V::maddubs(pair, V::set16(weights[kHigh] << 8 | weights[kLow])),
                            V::maddubs(single, V::set16(weights[kSingle])));
        };
        const Reg d1 = sum(kWeights1), d2 = sum(kWeights2);
        const Reg u = V::add16(d1, V::template shr16<7>(d2));
        m = V::mulhi16u(V::add16(u, u), V::set16(33555));
        rest = V::and_(V::or_(m, d2), V::set16(127));
    }
};

// r, g, b: one byte a pixel
template <class V>
inline typename V::Reg luma_of(typename V::Reg r, typename V::Reg g, typename V::Reg b,
                               LastTie<V>& last) {
    using Reg = typename V::Reg;
    using Sums = LumaSums<V, kRed, kGreen>;
    const Sums lo(V::unpack_lo8(r, g), V::widen_lo(b)), hi(V::unpack_hi8(r, g), V::widen_hi(b));
    const Reg quotient = V::pack16(V::template shr16<7>(lo.m), V::template shr16<7>(hi.m));
    if (V::has_zero16(V::min16(lo.rest, hi.rest))) [[unlikely]] {
        const Reg ties = V::equal8(V::pack16(lo.rest, hi.rest), V::zero());
        return luma_of_ties<V>(r, g, b, quotient, ties, last);
    }
    return quotient;
}

// Two vectors of lanes: the pixels at even, and those at odd columns.
template <class V, Channel kLow, Channel kHigh>
struct LumaOfLanes {
    using Reg = typename V::Reg;
    using Sums = LumaSums<V, kLow, kHigh>;

    const Reg *pair, *single;
    const Sums even{pair[0], single[0]}, odd{pair[1], single[1]};
    const Reg quotient = bytes(V::template shr16<7>(even.m), V::add16(odd.m, odd.m));

    bool has_ties() const { return V::has_zero16(V::min16(even.rest, odd.rest)); }
    Reg ties() const { return V::equal8(bytes(even.rest, up(odd.rest)), V::zero()); }
    Reg with_ties(LastTie<V>& last) const {
        Reg channels[3];
        channels[kLow] = bytes(pair[0], up(pair[1]));
        channels[kHigh] = bytes(V::template shr16<8>(pair[0]), pair[1]);
        channels[Sums::kSingle] = bytes(single[0], up(single[1]));
        return luma_of_ties<V>(channels[kRed], channels[kGreen], channels[kBlue], quotient, ties(),
                               last);
    }

  private:
    static Reg bytes(Reg low, Reg high) { return V::bit_select(V::set16(0xFF), low, high); }
    static Reg up(Reg x) { return V::template shl16<8>(x); }
};

template <class V, Channel kLow, Channel kHigh>
inline typename V::Reg luma_of_lanes(const typename V::Reg pair[2], const typename V::Reg single[2],
                                     LastTie<V>& last) {
    const LumaOfLanes<V, kLow, kHigh> luma{pair, single};
    if (luma.has_ties()) [[unlikely]]
        return luma.with_ties(last);
    return luma.quotient;
}
// The same where flat areas count.
template <class V, Channel kLow, Channel kHigh>
inline typename V::Reg luma_of_lanes(const typename V::Reg pair[2], const typename V::Reg single[2],
                                     LastTie<V>& last, LastTies<V>& lanes) {
    const LumaOfLanes<V, kLow, kHigh> luma{pair, single};
    if (luma.has_ties()) [[unlikely]] {
        if (lanes.are(pair, single)) return lanes.grey;
        const auto grey = luma.with_ties(last);
        if (V::is_zero(V::xor_(luma.ties(), V::set8(0xFF)))) {
            lanes = {true, {pair[0], pair[1]}, {single[0], single[1]}, grey};
        }
        return grey;
    }
    return luma.quotient;
}

}  // namespace imgcnv
