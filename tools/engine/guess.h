#pragma once

#include "engine/frame.h"
#include "io/input_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

struct Guess {
    std::vector<imgcnv_reading> readings;  ///< best first, at least one
    std::string text;                      ///< what else the data may be, or nothing
};

/// Ranks what the bytes of a file may be. `known`: what is known of the frames, 0 for what is not.
/// The file must be one that can be read at any place. Throws Failure, with the reason, for what is
/// not raw data.
Guess guess_file(const InputFile& file, const imgcnv_frame& known, const std::string& name,
                 std::size_t most);

}  // namespace tool
