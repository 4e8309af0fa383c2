#pragma once

#include <cstdint>
#include <span>

namespace frames {

struct FileKind {
    const char* name = nullptr;    ///< "a PNG picture"; null: none that is known
    const char* advice = nullptr;  ///< what to do with it
};

/// What the first bytes of files say that are no raw frames.
FileKind file_kind(std::span<const std::uint8_t> start);

}  // namespace frames
