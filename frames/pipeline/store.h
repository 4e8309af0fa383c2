#pragma once

#include "pipeline/rectangle.h"
#include "pipeline/wish.h"

#include <cstdint>

namespace frames {

/// Stores the part `keep` of a picture into the target, rotated and flipped as the wish says.
///
///   pixels   the picture's pixels of `made`, rows without padding
///   scratch  as many bytes as the pixels of `keep`; used when rows and columns are exchanged
void store(const Wish& wish, const Rectangle& made, const Rectangle& keep,
           const std::uint8_t* pixels, std::uint8_t* target, std::uint8_t* scratch);

}  // namespace frames
