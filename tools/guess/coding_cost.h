#pragma once

#include "formats/format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tool {

/// One reading of a file: where its rows begin and what their bytes mean. `pitch` counts elements:
/// pixels for Bits and Nibbles, which are unpacked before, bytes for all others.
struct Reading {
    Layout layout = Layout::Bytes;
    bool mosaic = false;
    std::size_t width = 0;
    std::size_t pitch = 0;
};

/// How many bits a byte of the file takes when every sample is predicted from its neighbours of the
/// same kind to the left and above, as a lossless coder would. The right reading predicts best: a
/// wrong pitch compares pixels that are no neighbours, a wrong layout compares red with green or
/// low bits with high ones. Bytes beyond the pixels of a row count too, so that all readings of one
/// file account for the same bytes.
struct CodingCost {
    double bitsPerByte = 0;
    int usedBits = 0;  ///< Words: bits up to the highest one set. Packed: 12, or 10 when the
                       ///< bits 10-bit packing leaves unused are all 0
    bool lowBitsEmpty = false;  ///< Words, Packed: the bits below the upper 8 are all 0
};

/// `elements` holds pixels for Bits (0 or 255) and Nibbles (0 to 15), else bytes.
/// About `sampled` of them are looked at.
CodingCost codingCost(std::span<const std::uint8_t> elements, const Reading& reading,
                      std::size_t sampled = 512 * 1024);

/// Elements of one row's pixels.
std::size_t rowElements(Layout layout, std::size_t width);

/// Widest row of pixels that fits into so many elements.
std::size_t widestRow(Layout layout, std::size_t elements);

/// Elements a byte.
constexpr int elementsPerByte(Layout layout) {
    return layout == Layout::Bits ? 8 : layout == Layout::Nibbles ? 2 : 1;
}

/// Pixels of Bits (as 0 and 255) and Nibbles, the bytes themselves for all other layouts.
std::vector<std::uint8_t> unpackedElements(std::span<const std::uint8_t> bytes, Layout layout);

}  // namespace tool
