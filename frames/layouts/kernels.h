// What the pipeline calls: rows of samples out of bytes, and what is done to samples.
#pragma once

#include "formats/format.h"

#include <cstddef>
#include <cstdint>

namespace frames {

/// Both colours of a mosaic's row, or the three channels of RGB samples: sample i takes
/// scale[i % period]. result = clamp((sample - black) * scale, 0, most), rounded to nearest.
struct LevelRow {
    float black;
    float scale[3];
    float most = 65535;  // a whole number, at most this
};

/// The same to 8 bits in steps of a 65536th of the range, for words: see level8_plain().
struct FixedLevels {
    std::uint16_t factor[3];
    std::uint16_t black;
    std::uint16_t most;  // what `more` leaves room for
    std::uint16_t up;    // bits that samples are moved up: 16 - depth
    std::uint16_t more;  // bits that what is above black is moved up
    std::uint16_t down;  // bits that the product is moved down
};
FixedLevels fixed_levels(const LevelRow& levels, int depth);

/// Row functions over whole rows of samples. None writes a byte outside its samples.
///
///   source    the first byte of a group
///   readable  bytes from there that may be read, those of the samples at least. Vectors read a few
///             bytes beyond the samples: where these are another row's, the end takes less time.
///   count     samples
struct LayoutKernels {
    /// The upper 8 bits of each sample. Samples of fewer bits are the upper ones of their byte as
    /// libimgcnv has it (Mono4p: 0xF becomes 0xF0; Mono2p: 3 becomes 0xC0), those of one bit are 0
    /// and 255.
    void (*to8)(const std::uint8_t* source, std::size_t readable, std::uint8_t* samples,
                std::size_t count);
    /// Each sample at its own value; what words have above their depth does not count.
    void (*to16)(const std::uint8_t* source, std::size_t readable, std::uint16_t* samples,
                 std::size_t count);
    /// Levels on the way to 8 bits, where each sample still has its full depth. `period` as with
    /// levels_to16: 1, 2, and 3 for BYTES and WORDS only.
    void (*to8_levels)(const std::uint8_t* source, std::size_t readable, std::uint8_t* samples,
                       std::size_t count, const FixedLevels& levels, int period);
};

/// For formats of one sample per pixel, and RGB bytes and words (3 or 4 samples per pixel), on the
/// best level of this machine. Null functions for formats whose channels() is 0.
const LayoutKernels& layout_kernels(const Format& format, bool big_endian);

/// What is the same for every layout.
struct SampleKernels {
    /// Drops the fourth sample of every pixel; `exchange` swaps the first and third.
    void (*drop_alpha8)(const std::uint8_t* source, std::uint8_t* out, std::size_t pixels,
                        bool exchange);
    /// Pixels of four bytes with a fourth byte of 255. `out` may be `source`, unless it is
    /// streamed: written past the caches where the CPU can.
    void (*opaque)(const std::uint8_t* source, std::uint8_t* out, std::size_t pixels, bool streams);
    /// Swaps the first and third of three words per pixel. `out` may be `source`.
    void (*exchange16)(const std::uint16_t* source, std::uint16_t* out, std::size_t pixels);
    /// Levels over samples of the given period (1: grey, 2: a mosaic's row, 3: RGB). `out` may be
    /// `source`.
    void (*levels_to16)(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                        const LevelRow& levels, int period);
    /// The sample's bits, repeated until 16 bits are full: full scale becomes 65535. `out` may be
    /// `source`.
    void (*full_scale)(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                       int depth);
    /// YUV bytes of video range to full range, `bytes` of a row of this layout. `out` may be
    /// `source`.
    void (*full_range)(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes,
                       imgcnv_layout layout);
    /// A curve of 3 x 256 bytes, those of the first channel first, over 8-bit pixels of 1, 3 or 4
    /// channels; one channel takes the first, alpha is kept.
    void (*curve)(std::uint8_t* pixels, std::size_t count, int channels, const std::uint8_t* curve);
};

const SampleKernels& sample_kernels();

/// Demosaics 16-bit samples to 3 words per pixel. Values keep their scale.
///
/// The mosaic is a completed one, as libimgcnv wants it: even width and height, and an order that
/// begins with RG, GB or BG. An odd frame's last column and row repeat the last but one before
/// them; a GR frame gets its row 1 once more above its row 0 and is a BG frame then. What is added
/// is only a pointer more for rows, and a sample more for columns; its pixels are left out by the
/// choice of rows below and by whoever takes the picture's rows.
struct Demosaic16 {
    imgcnv_bayer_order order;  // RG, GB or BG
    imgcnv_demosaic method;
    int depth;           // of the samples: the adaptive method clamps to it
    bool blue_first;     // makes BGR48
    std::int64_t width;  // of the completed mosaic: even, at least 2
    std::int64_t height;
};

/// Makes rows first .. first + count - 1 of the completed picture. rows[i] is row first + i of the
/// mosaic, of `width` samples; the rows that lie in the mosaic and at most demosaic_reach() rows
/// beyond the wanted ones must be there. The edges are those of the completed mosaic, whichever
/// rows are asked for: bands give the same picture. The first `width_out` pixels of each row, all
/// of them or all but the last,
/// are written.
void demosaic16(const Demosaic16& job, const std::uint16_t* const* rows, std::int64_t first,
                std::int64_t count, std::uint16_t* out, std::int64_t out_stride_words,
                std::int64_t width_out);

/// Rows beyond its own that a method looks at, on either side.
constexpr std::int64_t demosaic_reach(imgcnv_demosaic method) {
    return method == IMGCNV_ADAPTIVE ? 3 : 1;
}

}  // namespace frames
