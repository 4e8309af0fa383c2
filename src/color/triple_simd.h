// Three channels to a destination, the vector bodies of every TripleSink.
#pragma once

#include "color/luma_simd.h"
#include "simd/kernel_table.h"

namespace imgcnv {

constexpr size_t sink_bytes(TripleSink sink) {
    return sink == kLumaRedFirst || sink == kLumaRedLast ? 1 : sink == kAbc || sink == kCba ? 3 : 4;
}

template <class V, TripleSink kSink>
inline void store_triple(uint8_t* p, typename V::Reg a, typename V::Reg b, typename V::Reg c) {
    if constexpr (kSink == kLumaRedFirst) {
        V::store(p, luma_of<V>(a, b, c));
    } else if constexpr (kSink == kLumaRedLast) {
        V::store(p, luma_of<V>(c, b, a));
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

}  // namespace imgcnv
