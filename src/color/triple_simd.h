// Three channels to a destination, the vector bodies of every TripleSink.
#pragma once

#include "color/luma_simd.h"
#include "simd/kernel_table.h"

namespace imgcnv {

constexpr size_t sink_bytes(TripleSink sink) {
    return sink == kLumaRedFirst || sink == kLumaRedLast ? 1 : sink == kAbc || sink == kCba ? 3 : 4;
}

// Three channels of a block.
template <class V>
struct Triple {
    typename V::Reg a, b, c;
};

// last: a LastTies<V> for grey, else nothing
template <class V, TripleSink kSink, class... Last>
inline void store_triple(uint8_t* p, typename V::Reg a, typename V::Reg b, typename V::Reg c,
                         Last&... last) {
    if constexpr (kSink == kLumaRedFirst) {
        V::store(p, luma_of<V>(a, b, c, last...));
    } else if constexpr (kSink == kLumaRedLast) {
        V::store(p, luma_of<V>(c, b, a, last...));
    } else if constexpr (kSink == kAbc) {
        V::store3(p, a, b, c);
    } else if constexpr (kSink == kCba) {
        V::store3(p, c, b, a);
    } else if constexpr (kSink == kAbc0) {
        V::store4(p, a, b, c);
    } else {
        V::store4(p, c, b, a);
    }
}

template <class V, TripleSink kSink, class... Last>
inline void store_all(uint8_t* const* out, const Triple<V>& t, Last&... last) {
    store_triple<V, kSink>(out[0], t.a, t.b, t.c, last...);
}

// Makes a body of Blocks, which tells everything about the input and has
// load(in), the channels of a block. Grey from colour computes as much
// as most of them: there, writing is a half of its own. Blocks may have
// load_for_grey(in), if grey is better made of something else.
template <class V, class Blocks, TripleSink kSink>
struct TripleBody : Blocks {
    static constexpr size_t kDstBytes = Blocks::kPixels * sink_bytes(kSink);

    static void block(const uint8_t* const* in, uint8_t* const* out) {
        store_all<V, kSink>(out, Blocks::load(in));
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
template <class V, class Blocks, TripleSink kSink>
requires(sink_bytes(kSink) == 1) struct TripleBody<V, Blocks, kSink> : Blocks {
    using Loaded = decltype(load_for_grey<Blocks>(nullptr));
    using Memory = LastTies<V>;
    static constexpr size_t kDstBytes = Blocks::kPixels;

    static Loaded load(const uint8_t* const* in) { return load_for_grey<Blocks>(in); }
    static void store(uint8_t* const* out, const Loaded& loaded, Memory& memory) {
        store_all<V, kSink>(out, loaded, memory);
    }
    static void block(const uint8_t* const* in, uint8_t* const* out) {
        Memory memory;
        store(out, load(in), memory);
    }
};

}  // namespace imgcnv
