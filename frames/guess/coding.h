#pragma once

#include "formats/format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// How bytes become samples. Formats of one coding differ in the order of colours and in how many
/// of the highest bits are used, which is found out later.
struct Coding {
    const Format* format =
        nullptr;  ///< the deepest one of the layout, grey where there is a choice
    bool big_endian = false;

    bool may_be_mosaic() const { return channels(*format) == 1 && format->depth >= 8; }
    /// More than 8 bits per sample.
    bool is_deep() const { return format->depth > 8; }
    /// One 16-bit word per sample.
    bool is_words() const { return format->bits_per_pixel == 16 * channels(*format); }
    /// Rows without padding are one stream of bits and may begin within a byte.
    bool is_stream() const { return format->layout == IMGCNV_LAYOUT_LSB_FIRST; }
    std::int64_t group_bytes() const { return format->group_bytes; }
    std::int64_t group_pixels() const { return format->group_pixels; }
    /// Bits of `width` pixels.
    std::int64_t row_bits(std::int64_t width) const;
    /// The widest row that fits into so many bits.
    std::int64_t widest_row(std::int64_t bits) const;
};

/// All codings, or those of one format.
std::vector<Coding> codings(const Format* known);

/// Whether formats of this kind share the coding's layout.
bool has_coding(const Format& format, const Coding& coding);

constexpr std::size_t kPlanes = 6;

/// The samples of a row by kind: green (luma, grey, mosaic), red and blue as differences to green
/// (U and V as they are), alpha, then red and blue themselves.
struct RowSamples {
    std::array<std::vector<int>, kPlanes> planes;
    std::vector<std::uint16_t> words;  ///< the samples as they lie in the row
};

/// `from_bit` is counted from the first of `bytes`, which hold the whole row. Samples lose their
/// lowest `dropped_bits`.
void split_row(const Coding& coding, const std::uint8_t* bytes, std::int64_t from_bit,
               std::int64_t width, int dropped_bits, RowSamples& row);

/// Samples of a coding that is not YUV, all channels, one after the other.
void unpack_samples(const Coding& coding, const std::uint8_t* bytes, std::int64_t from_bit,
                    std::size_t count, std::uint16_t* samples);

}  // namespace frames
