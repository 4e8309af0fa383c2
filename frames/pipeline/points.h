#pragma once

#include "pipeline/wish.h"
#include "support/text.h"

namespace frames {

/// Mono1C: a list of grey points, each four bytes: the value, then a big-endian 24-bit number, row
/// << 12 | column, both counted from 1. Four zero bytes or the end of the data end the list.
///
/// The whole list is checked before anything is written.
imgcnv_status draw_points(const Geometry& frame, const Wish& wish, const std::uint8_t* list,
                          std::size_t bytes, std::uint8_t* target, Text& text);

}  // namespace frames
