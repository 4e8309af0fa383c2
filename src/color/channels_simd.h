// Three channels to destination pixels, the vector bodies of every ColorTarget.
#pragma once

#include "color/luma_simd.h"
#include "simd/kernel_table.h"

namespace imgcnv {

constexpr size_t target_bytes(ColorTarget target) {
    return target == kLumaRedFirst || target == kLumaRedLast ? 1
           : target == kAbc || target == kCba                ? 3
                                                             : 4;
}

// Three channels of a block.
template <class V>
struct Channels {
    typename V::Reg a, b, c;
};

// last: a LastTies<V> for grey, else nothing
template <class V, ColorTarget kTarget, class... Last>
inline void store_channels(uint8_t* p, typename V::Reg a, typename V::Reg b, typename V::Reg c,
                           Last&... last) {
    if constexpr (kTarget == kLumaRedFirst) {
        V::store(p, luma_of<V>(a, b, c, last...));
    } else if constexpr (kTarget == kLumaRedLast) {
        V::store(p, luma_of<V>(c, b, a, last...));
    } else if constexpr (kTarget == kAbc) {
        V::store3(p, a, b, c);
    } else if constexpr (kTarget == kCba) {
        V::store3(p, c, b, a);
    } else if constexpr (kTarget == kAbc0) {
        V::store4(p, a, b, c);
    } else {
        V::store4(p, c, b, a);
    }
}

template <class V, ColorTarget kTarget, class... Last>
inline void store_all(uint8_t* const* out, const Channels<V>& t, Last&... last) {
    store_channels<V, kTarget>(out[0], t.a, t.b, t.c, last...);
}

// Three-byte pixels as words, the first byte red or the last one.
template <class V>
struct Pairs3 {
    typename V::Reg pair[2], single[2];
};
template <class V, ColorTarget kTarget, class... Last>
inline void store_all(uint8_t* const* out, const Pairs3<V>& pixels, Last&... last) {
    constexpr Channel kFirst = kTarget == kLumaRedFirst ? kRed : kBlue;
    V::store(out[0],
             luma_of_lanes<V, InOrder<V>, kFirst, kGreen>(pixels.pair, pixels.single, last...));
}

// Makes a body of Blocks, which says everything about the input and has load(in), the channels of a
// block. Grey from colour takes as much computing as loading does, so that body is in two halves.
// Blocks may have load_for_grey(in), if grey is better made of something else than channels.
template <class V, class Blocks, ColorTarget kTarget>
struct ChannelsBody : Blocks {
    static constexpr size_t kDstBytes = Blocks::kPixels * target_bytes(kTarget);

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        store_all<V, kTarget>(out, Blocks::load(in));
    }
};

template <class Blocks>
inline auto load_for_grey(const uint8_t* const* in) {
    if constexpr (requires { Blocks::load_for_grey(in); }) {
        return Blocks::load_for_grey(in);
    } else {
        return Blocks::load(in);
    }
}
template <class V, class Blocks, ColorTarget kTarget>
requires(target_bytes(kTarget) == 1) struct ChannelsBody<V, Blocks, kTarget> : Blocks {
    using Loaded = decltype(load_for_grey<Blocks>(nullptr));
    using Memory = LastTies<V>;
    static constexpr size_t kDstBytes = Blocks::kPixels;

    static Loaded load(const uint8_t* const* in) { return load_for_grey<Blocks>(in); }
    static void store(uint8_t* const* out, const Loaded& loaded, Memory& memory) {
        store_all<V, kTarget>(out, loaded, memory);
    }
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        Memory memory;
        store(out, load(in), memory);
    }
};

}  // namespace imgcnv
