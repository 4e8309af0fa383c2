#pragma once

#include "engine/frame.h"
#include "io/input_file.h"

#include <cstdint>
#include <vector>

namespace tool {

/// One frame of a file or of a stream that nobody has read from, and nothing else of it; a Mono1C
/// list whole. Padding that the last frame lacks is 0. Throws Failure.
std::vector<std::uint8_t> read_frame(const InputFile& file, const Frame& frame, std::int64_t index);

}  // namespace tool
