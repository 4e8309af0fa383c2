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
// Which ties come out lower follows no simple rule. All greys R = G = B are ties, and common in
// pictures (black, white): a table of 256 bits tells. Red and green of a tie allow one blue
// only: a table of 65536 bits tells of the other ties, one colour in 1000.
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
alignas(32) inline constexpr ByteTable<32> kLowerGreys = lower_greys();

// Bit red + 256 green of the bytes: whether the double sum of the tie with this red and green falls
// below the integer. (57 x 193 = 1 modulo 500, so that blue is what makes 299 R + 587 G + 114 B = 0
// modulo 1000. Blues beyond 255 are no colours, and odd remainders no ties.)
struct LowerTies {
    uint8_t bytes[65536 / 8];
};
consteval LowerTies lower_ties() {
    LowerTies ties{};
    for (int green = 0; green < 256; ++green) {
        for (int red = 0; red < 256; ++red) {
            const int missing = (1000 - (299 * red + 587 * green) % 1000) % 1000;
            const int blue = missing / 2 * 193 % 500;
            if (missing % 2 != 0 || blue > 255) continue;
            const int tie = (299 * red + 587 * green + 114 * blue) / 1000;
            const double sum = (0.299 * red + 0.587 * green) + 0.114 * blue;
            const unsigned at = static_cast<unsigned>(red + 256 * green);
            if (static_cast<int>(sum) != tie) ties.bytes[at / 8] |= 1u << at % 8;
        }
    }
    return ties;
}
inline constexpr LowerTies kLowerTies = lower_ties();

// The last block that needed the large table, and its grey. In flat areas, and in the two rows
// of a mosaic's cells, the next one has the same ties.
template <class V>
struct LastTies {
    using Reg = typename V::Reg;

    bool known = false;
    Reg red, green, blue, grey;

    Reg mask_of(Reg r, Reg g, Reg b) const {
        return V::and_(V::equal8(r, red), V::and_(V::equal8(g, green), V::equal8(b, blue)));
    }
};

// Ties of a block that are looked up one by one.
inline constexpr int kFewTies = 4;

// 1 for the pixels of a few ties that come out lower.
template <class V>
static __attribute__((noinline, cold)) typename V::Reg lower_of_few(typename V::Reg r,
                                                                    typename V::Reg g,
                                                                    typename V::Reg tie,
                                                                    uint64_t bits) {
    alignas(V::kBytes) uint8_t red[V::kBytes], green[V::kBytes];
    V::store(red, r);
    V::store(green, g);
    auto lower = V::zero();
    for (; bits != 0; bits &= bits - 1) {
        const int i = __builtin_ctzll(bits);
        const int at = red[i] | green[i] << 8;
        if ((kLowerTies.bytes[at / 8] >> at % 8 & 1) == 0) continue;
        const auto same = V::and_(V::equal8(r, V::set8(red[i])), V::equal8(g, V::set8(green[i])));
        lower = V::or_(lower, V::and_(tie, same));
    }
    return V::and_(lower, V::set8(1));
}

// 0xFF for every pixel that comes out lower if it is a tie: all are looked up, without a branch.
template <class V>
static inline typename V::Reg lower_of_many(typename V::Reg r, typename V::Reg g) {
    const auto low = V::set16(0x00FF);
    // Of the pixels at even and at odd columns, where their bytes are in the table.
    alignas(V::kBytes) uint16_t even[V::kBytes / 2], odd[V::kBytes / 2];
    const auto store_places = [](uint16_t* places, typename V::Reg red_and_green) {
        V::store(reinterpret_cast<uint8_t*>(places), V::template shr16<3>(red_and_green));
    };
    store_places(even, V::bit_select(low, r, V::template shl16<8>(g)));
    store_places(odd, V::bit_select(low, V::template shr16<8>(r), g));
    alignas(V::kBytes) uint8_t bytes[V::kBytes];
#pragma GCC unroll 8
    for (size_t i = 0; i < V::kBytes / 2; ++i) {
        bytes[2 * i] = kLowerTies.bytes[even[i]];
        bytes[2 * i + 1] = kLowerTies.bytes[odd[i]];
    }
    const auto bit = V::bit_in_byte(r);
    return V::equal8(V::and_(V::load(bytes), bit), bit);
}

template <class V>
static __attribute__((noinline, cold)) typename V::Reg luma_of_new_ties(
    typename V::Reg r, typename V::Reg g, typename V::Reg b, typename V::Reg quotient,
    typename V::Reg tie, LastTies<V>& last) {
    const auto grey = V::and_(V::equal8(r, g), V::equal8(g, b));
    const auto lower = V::and_(V::and_(tie, grey), V::bitmap_contains(kLowerGreys, g));
    quotient = V::sub8(quotient, V::and_(lower, V::set8(1)));
    const auto rest = V::andnot(grey, tie);
    const uint64_t bits = V::top_bits(rest);
    if (bits == 0) return quotient;
    // Counting bits would call libgcc on CPUs without popcnt.
    uint64_t many = bits;
    for (int k = 0; k < kFewTies; ++k) many &= many - 1;
    if (many == 0) return V::sub8(quotient, lower_of_few<V>(r, g, rest, bits));
    quotient = V::sub8(quotient, V::and_(V::set8(1), V::and_(rest, lower_of_many<V>(r, g))));
    last = {true, r, g, b, quotient};
    return quotient;
}

// A function of its own, which needs no stack.
template <class V>
static __attribute__((noinline, cold)) typename V::Reg luma_of_ties(
    typename V::Reg r, typename V::Reg g, typename V::Reg b, typename V::Reg quotient,
    typename V::Reg tie, LastTies<V>& last) {
    if (last.known) {
        const auto same = last.mask_of(r, g, b);
        quotient = V::bit_select(same, last.grey, quotient);
        tie = V::andnot(same, tie);
        if (V::top_bits(tie) == 0) return quotient;
        last.known = false;
    }
    return luma_of_new_ties<V>(r, g, b, quotient, tie, last);
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

// How two vectors of 16-bit lanes become one of bytes: in the order of pack16,
template <class V>
struct InOrder {
    using Reg = typename V::Reg;
    static Reg low_bytes(Reg lo, Reg hi) {
        return V::pack16(V::and_(lo, V::set16(0xFF)), V::and_(hi, V::set16(0xFF)));
    }
    static Reg high_bytes(Reg lo, Reg hi) {
        return V::pack16(V::template shr16<8>(lo), V::template shr16<8>(hi));
    }
    static Reg quotient(Reg lo, Reg hi) {
        return V::pack16(V::template shr16<7>(lo), V::template shr16<7>(hi));
    }
};
// or as the pixels at even, and those at odd columns.
template <class V>
struct InTurns {
    using Reg = typename V::Reg;
    static Reg low_bytes(Reg even, Reg odd) { return blend(even, V::template shl16<8>(odd)); }
    static Reg high_bytes(Reg even, Reg odd) { return blend(V::template shr16<8>(even), odd); }
    static Reg quotient(Reg even, Reg odd) {
        return blend(V::template shr16<7>(even), V::add16(odd, odd));
    }
    // Low bytes of `low`, high bytes of `high`.
    static Reg blend(Reg low, Reg high) { return V::bit_select(V::set16(0xFF), low, high); }
};

// Pixels in two vectors of 16-bit lanes: kLow and kHigh in the bytes of `pair`, the third channel
// in `single`.
template <class V, class Order, Channel kLow, Channel kHigh>
inline typename V::Reg luma_of_lanes(const typename V::Reg pair[2], const typename V::Reg single[2],
                                     LastTies<V>& last) {
    using Sums = LumaSums<V, kLow, kHigh>;
    using Reg = typename V::Reg;
    const Sums a(pair[0], single[0]), b(pair[1], single[1]);
    const Reg quotient = Order::quotient(a.m, b.m);
    if (V::has_zero16(V::min16(a.rest, b.rest))) [[unlikely]] {
        Reg channels[3];
        channels[kLow] = Order::low_bytes(pair[0], pair[1]);
        channels[kHigh] = Order::high_bytes(pair[0], pair[1]);
        channels[Sums::kSingle] = Order::low_bytes(single[0], single[1]);
        const Reg ties = V::equal8(Order::low_bytes(a.rest, b.rest), V::zero());
        return luma_of_ties<V>(channels[kRed], channels[kGreen], channels[kBlue], quotient, ties,
                               last);
    }
    return quotient;
}

// r, g, b: one byte per pixel
template <class V>
inline typename V::Reg luma_of(typename V::Reg r, typename V::Reg g, typename V::Reg b,
                               LastTies<V>& last) {
    const typename V::Reg pair[2] = {V::unpack_lo8(r, g), V::unpack_hi8(r, g)};
    const typename V::Reg single[2] = {V::widen_lo(b), V::widen_hi(b)};
    return luma_of_lanes<V, InOrder<V>, kRed, kGreen>(pair, single, last);
}

}  // namespace imgcnv
