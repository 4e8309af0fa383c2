// Monochrome sources, the vector bodies. See mono_plain.h for the layouts.
#pragma once

#include "simd/kernel_table.h"
#include "simd/row.h"

namespace imgcnv {

// One register of 8-bit samples.
template <class V, MonoLayout kLayout>
inline typename V::Reg load_mono(const uint8_t* p) {
    if constexpr (kLayout == kBits1) {
        return V::load_bits(p);
    } else if constexpr (kLayout == kNibbles) {
        const auto pair = V::load_widened(p);
        return V::or_(V::and_(V::template shl16<4>(pair), V::set16(0x00F0)),
                      V::and_(V::template shl16<8>(pair), V::set16(0xF000)));
    } else if constexpr (kLayout == kBytes) {
        return V::load(p);
    } else if constexpr (kLayout == kWords10) {
        return V::template load_words<2>(p);
    } else if constexpr (kLayout == kWords12) {
        return V::template load_words<4>(p);
    } else if constexpr (kLayout == kWords16) {
        return V::template load_words<8>(p);
    } else {
        return V::load_packed(p);
    }
}

template <class V, GreyTarget kTarget>
inline void store_grey(uint8_t* p, typename V::Reg grey) {
    if constexpr (kTarget == kGrey1) {
        V::store(p, grey);
    } else if constexpr (kTarget == kGrey3) {
        V::store3_grey(p, grey);
    } else {
        V::store4(p, grey, grey, grey);
    }
}

template <class V, MonoLayout kLayout, GreyTarget kTarget>
struct MonoBody : BodyOf<V> {
    template <class W>
    using Rebind = MonoBody<W, kLayout, kTarget>;
    using BodyOf<V>::kPixels;
    static constexpr size_t kGroup = group_of(kLayout).samples;
    static constexpr size_t kSrcBytes = kPixels / kGroup * group_of(kLayout).bytes;
    static constexpr size_t kDstBytes = kPixels * bytes_of(kTarget);

    // With one byte per pixel a block is so short that the loop itself counts.
    static constexpr size_t kUnroll = kTarget == kGrey1 ? 4 : 1;

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        store_grey<V, kTarget>(out[0], load_mono<V, kLayout>(in[0]));
    }
};

template <class V, MonoLayout kLayout, GreyTarget kTarget>
__attribute__((flatten)) void mono_row(const uint8_t* src, uint8_t* dst, size_t pixels) {
    run_row<MonoBody<V, kLayout, kTarget>>({{src}, {dst}}, pixels);
}

}  // namespace imgcnv
