#pragma once

#include "frame/frame_shape.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tool {

struct GuessedShape {
    FrameShape shape;
    std::int64_t frames = 1;       ///< of this shape, one after the other
    std::int64_t bytesBehind = 0;  ///< what the frames leave over
    double bitsPerByte = 0;        ///< what the bytes cost when read like this, see codingCost()
    double score = 0;              ///< 100 for the best, halved by each 0.05 bits a byte more
};

struct Guess {
    std::vector<GuessedShape> answers;  ///< best first; empty when nothing fits
    double plainBitsPerByte = 0;        ///< entropy of the single bytes, without any reading
    std::vector<std::string>
        unknowns;  ///< what the best answer leaves open and the bytes do not say

    /// Whether reading the bytes as a picture explains anything at all.
    bool hasStructure() const;
};

/// Ranks the shapes that raw frames in these bytes may have. Nothing here is certain: the bytes do
/// not say what they are.
Guess guessFrame(std::span<const std::uint8_t> bytes,
                 std::optional<std::pair<std::int64_t, std::int64_t>> size);

}  // namespace tool
