#pragma once

#include "imgcnv_frames.h"
#include "support/text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

namespace frames {

/// Calls `body` and turns a failed allocation into a status: nothing is thrown beyond the C
/// interface. Without exceptions (a browser) running out of memory ends the program.
template <class Body>
int guarded(Text& text, Body&& body) {
#if defined(__cpp_exceptions)
    try {
        return body();
    } catch (const std::bad_alloc&) {
        text.clear();
        text << "out of memory";
        return IMGCNV_OUT_OF_MEMORY;
    }
#else
    static_cast<void>(text);
    return body();
#endif
}

/// A structure of the caller as the one this library was built with: members that the caller's
/// version did not have are 0. False when it cannot be one.
template <class Struct>
bool take(const Struct* given, Struct& taken) {
    if (given == nullptr || given->struct_size < sizeof(std::size_t)) return false;
    taken = {};
    std::memcpy(&taken, given, std::min(given->struct_size, sizeof taken));
    taken.struct_size = sizeof taken;
    return true;
}

/// The other way: as much of `result` as the caller's structure has room for.
template <class Struct>
bool give(Struct result, Struct* out) {
    if (out == nullptr || out->struct_size < sizeof(std::size_t)) return false;
    result.struct_size = out->struct_size;
    std::memcpy(out, &result, std::min(out->struct_size, sizeof result));
    return true;
}

}  // namespace frames
