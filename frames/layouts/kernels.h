#pragma once

#include "formats/format.h"

#include <cstddef>
#include <cstdint>

namespace frames {

/// Both colours of a mosaic's row, or the three channels of RGB samples: sample i takes scale[i %
/// 2] or scale[i % 3]. result = clamp((sample - black) * scale), rounded to nearest.
struct LevelRow {
    float black;
    float scale[3];
};

/// Row functions over whole rows of samples. None reads or writes a byte outside its samples.
/// `source` points to the first byte of a group; `count` is in samples.
struct LayoutKernels {
    /// The upper 8 bits of each sample (all bits of shallower ones, spread to 0..255 as libimgcnv
    /// does for Mono1p and Mono4p).
    void (*to8)(const std::uint8_t* source, std::uint8_t* samples, std::size_t count);
    /// Each sample at its own value.
    void (*to16)(const std::uint8_t* source, std::uint16_t* samples, std::size_t count);
};

/// For one-sample-per-pixel formats and RGB words and bytes (3 or 4 samples per pixel).
/// Best level of this machine. Never null for formats with channels() > 0.
const LayoutKernels& layout_kernels(const Format& format, bool big_endian);

/// What is the same for every layout.
struct SampleKernels {
    /// Drops the fourth sample of every pixel; `exchange` swaps the first and third.
    void (*drop_alpha8)(const std::uint8_t* source, std::uint8_t* out, std::size_t pixels);
    /// Levels over samples of the given period (1: grey, 2: a mosaic's row, 3: RGB).
    void (*levels_to8)(const std::uint16_t* source, std::uint8_t* out, std::size_t count,
                       const LevelRow& levels, int period);
    void (*levels_to16)(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                        const LevelRow& levels, int period);
    /// sample << shift | sample >> (depth - shift): full scale becomes 65535.
    void (*full_scale)(const std::uint16_t* source, std::uint16_t* out, std::size_t count,
                       int depth);
    /// YUV bytes of video range to full range, `bytes` of a row of this layout.
    void (*full_range)(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes,
                       imgcnv_layout layout);
    /// A curve of 256 bytes per channel over 8-bit pixels of 1, 3 or 4 channels; alpha is kept.
    void (*curve)(std::uint8_t* pixels, std::size_t count, int channels, const std::uint8_t* curve);
};

const SampleKernels& sample_kernels();

/// Demosaics rows of 16-bit samples to 3 words per pixel. Rows are found by pointers, so that a
/// band sees its neighbours: rows[-reach .. count - 1 + reach] must be readable, `width` samples
/// each (reach: nearest 1 beyond the last row of an odd count, bilinear 1, adaptive 3). `order` is
/// that of rows[0]. `blue_first` makes BGR48. Values keep their scale.
struct Demosaic16 {
    imgcnv_bayer_order order;
    imgcnv_demosaic method;
    bool blue_first;
    std::int64_t width;
};
void demosaic16(const Demosaic16& job, const std::uint16_t* const* rows, std::int64_t count,
                std::uint16_t* out, std::int64_t out_stride_words);

}  // namespace frames
