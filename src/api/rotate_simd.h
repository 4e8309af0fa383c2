// Rotations by 90 and 270 degrees, the vector kernels.
//
// A rotation is a transposition with the rows of the source (90 degrees) or
// of the destination (270) taken from the bottom. It goes tile by tile: a tile's
// rows are read, transposed in registers and written as rows. Where the
// edges leave less than a tile, a tile overlaps the one before it; pictures smaller than
// a tile go pixel by pixel.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "simd/kernel_table.h"
#include "simd/streaming.h"

namespace imgcnv {

// 16 columns of V::kBytes rows: every 128-bit lane transposes 16x16 bytes.
template <class V>
inline void transpose_bytes(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                            ptrdiff_t dst_step) {
    typename V::Reg rows[16], mixed[16];
#pragma GCC unroll 16
    for (ptrdiff_t i = 0; i < 16; ++i) {
        rows[i] = V::load_lanes(src + i * src_step, 16 * src_step);
    }
    // Interleaving row i with row i + 8 rotates the 8-bit number (row, column)
    // by one bit; four times exchange row and column.
    const auto interleave = [](const typename V::Reg* from, typename V::Reg* to) {
#pragma GCC unroll 8
        for (size_t i = 0; i < 8; ++i) {
            to[2 * i] = V::unpack_lo8(from[i], from[i + 8]);
            to[2 * i + 1] = V::unpack_hi8(from[i], from[i + 8]);
        }
    };
    interleave(rows, mixed);
    interleave(mixed, rows);
    interleave(rows, mixed);
    interleave(mixed, rows);
#pragma GCC unroll 16
    for (ptrdiff_t i = 0; i < 16; ++i) V::store(dst + i * dst_step, rows[i]);
}

template <class V, size_t kPixelBytes>
struct TransposeTile {
    static constexpr size_t kColumns = kPixelBytes == 1 ? 16 : V::kBytes / 4;
    static constexpr size_t kRows = kPixelBytes == 1 ? V::kBytes : V::kBytes / 4;
    static constexpr auto run = kPixelBytes == 1 ? transpose_bytes<V> : V::transpose3;
};

// Starts to load bytes `begin` to `end` of rows.
template <class V, size_t kRows>
inline void prefetch_rows(const uint8_t* rows, ptrdiff_t step, ptrdiff_t begin, ptrdiff_t end) {
    for (ptrdiff_t k = 0; k < static_cast<ptrdiff_t>(kRows); ++k) {
        for (ptrdiff_t i = begin; i < end; i += kCacheLine) prefetch<V>(rows, k * step + i);
    }
}

// Rows of a part of a picture, one after the other.
template <class V, size_t kRowBytes>
inline void gather_rows(const uint8_t* src, ptrdiff_t src_step, size_t row_bytes, size_t rows,
                        uint8_t* dst) {
    for (size_t y = 0; y < rows; ++y, src += src_step, dst += kRowBytes) {
        if (row_bytes != kRowBytes) {
            memcpy(dst, src, row_bytes);
            continue;
        }
#pragma GCC unroll 16
        for (size_t i = 0; i < kRowBytes; i += V::kBytes) V::store(dst + i, V::load(src + i));
    }
}

// Rows whose distance is a multiple of this fall into few sets of the first-level cache and evict
// one another. (Pictures that the caches do not hold wait for memory more often than for that.)
inline constexpr ptrdiff_t kConflictStep = 1024, kConflictStepOfLarge = 2048;

// So many rows are transposed at a time, from the left to the right: every column of tiles touches
// a memory page of each, and CPUs remember the addresses of one to three thousand pages.
inline constexpr size_t kBandRows = 512;

// For pictures smaller than a tile.
template <class V, size_t kPixelBytes>
inline void transpose_pixels(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst,
                             ptrdiff_t dst_step, size_t width, size_t height) {
    for (size_t x = 0; x < width; ++x) {
        for (size_t y = 0; y < height; ++y) {
            memcpy(dst + static_cast<ptrdiff_t>(x) * dst_step + y * kPixelBytes,
                   src + static_cast<ptrdiff_t>(y) * src_step + x * kPixelBytes, kPixelBytes);
        }
    }
}

// 64 columns at a time, so that a cache line of the source is used up while it is near; within
// them along the destination's rows. For pictures whose rows conflict in the cache, kGather: blocks
// are copied to a dense buffer first, and written some lines per row. At other distances of rows
// the copy is a loss.
template <class V, size_t kPixelBytes, bool kGather>
__attribute__((noinline, flatten)) void transpose_tiles(const uint8_t* src, ptrdiff_t src_step,
                                                        uint8_t* dst, ptrdiff_t dst_step,
                                                        size_t width, size_t height, bool fetch,
                                                        bool beyond_caches) {
    using Tile = TransposeTile<V, kPixelBytes>;
    constexpr size_t kColumns = 64;
    constexpr size_t kRows = !kGather ? Tile::kRows : kPixelBytes == 1 ? 256 : 64;
    constexpr size_t kBlockStep = kColumns * kPixelBytes;
    constexpr ptrdiff_t kAhead = 192;
    alignas(64) uint8_t block[kGather ? kRows * kBlockStep : 1];
    // Where lines are overwritten a part at a time, they are fetched, too. (With blocks that come
    // from the caches, or go to rows that are not gathered and exceed them, it is a loss.)
    const bool fetch_dst = kPixelBytes == 3 && fetch && kGather == beyond_caches &&
                           (kGather || V::kBytes < kCacheLine);
    // Where a part begins that would be smaller than a tile.
    const auto begin_of = [](size_t from, size_t all, size_t tile) {
        return from + tile <= all ? from : all - tile;
    };
    const auto smaller = [](size_t a, size_t b) { return a < b ? a : b; };
    for (size_t column = 0; column < width; column += kColumns) {
        const size_t left = begin_of(column, width, Tile::kColumns);
        const size_t columns = smaller(width - left, kColumns);
        for (size_t row = 0; row < height; row += kRows) {
            const size_t top = begin_of(row, height, Tile::kRows);
            const size_t rows = kGather ? smaller(height - top, kRows) : kRows;
            const uint8_t* from = src + static_cast<ptrdiff_t>(top) * src_step + left * kPixelBytes;
            const uint8_t* next = from + static_cast<ptrdiff_t>(rows) * src_step;
            ptrdiff_t from_step = src_step;
            if constexpr (kGather) {
                gather_rows<V, kBlockStep>(from, src_step, columns * kPixelBytes, rows, block);
                from = block;
                from_step = kBlockStep;
            }
            if (fetch && row + 2 * kRows <= height) {
                prefetch_rows<V, kRows>(next, src_step, 0,
                                        static_cast<ptrdiff_t>(columns * kPixelBytes));
            }
            for (size_t x = 0; x < columns; x += Tile::kColumns) {
                const size_t tile_x = begin_of(x, columns, Tile::kColumns);
                uint8_t* out = dst + static_cast<ptrdiff_t>(left + tile_x) * dst_step;
                for (size_t y = 0; y < rows; y += Tile::kRows) {
                    const size_t tile_y = begin_of(y, rows, Tile::kRows);
                    uint8_t* to = out + (top + tile_y) * kPixelBytes;
                    if (fetch_dst)
                        prefetch_rows<V, Tile::kColumns>(to, dst_step, kAhead, kAhead + 1);
                    Tile::run(
                        from + static_cast<ptrdiff_t>(tile_y) * from_step + tile_x * kPixelBytes,
                        from_step, to, dst_step);
                }
            }
        }
    }
}

// dst[x][y] = src[y][x] for `width` columns and `height` rows.
template <class V, size_t kPixelBytes>
inline void transpose(const uint8_t* src, ptrdiff_t src_step, uint8_t* dst, ptrdiff_t dst_step,
                      size_t width, size_t height) {
    using Tile = TransposeTile<V, kPixelBytes>;
    if (width < Tile::kColumns || height < Tile::kRows) {
        return transpose_pixels<V, kPixelBytes>(src, src_step, dst, dst_step, width, height);
    }
    const size_t bytes = width * height * kPixelBytes;
    const bool beyond_caches = bytes > size_t{8} << 20;
    const ptrdiff_t conflict = beyond_caches ? kConflictStepOfLarge : kConflictStep;
    const bool gather = src_step % conflict == 0 || dst_step % conflict == 0;
    // The hardware prefetcher does not follow rows at such distances. Blocks are fetched ahead only
    // where they come from memory: it is a loss for what is in the caches.
    const bool fetch = gather ? beyond_caches : bytes > size_t{1} << 20;
    for (size_t left = height; left != 0;) {
        const size_t rows = left < 2 * kBandRows ? left : kBandRows;
        const auto tiles =
            gather ? transpose_tiles<V, kPixelBytes, true> : transpose_tiles<V, kPixelBytes, false>;
        tiles(src, src_step, dst, dst_step, width, rows, fetch, beyond_caches);
        src += static_cast<ptrdiff_t>(rows) * src_step;
        dst += rows * kPixelBytes;
        left -= rows;
    }
}

template <class V, size_t kPixelBytes, bool kClockwise>
__attribute__((flatten)) void rotate(const uint8_t* src, uint8_t* dst, ImageSize source) {
    const ptrdiff_t src_step = static_cast<ptrdiff_t>(source.width * kPixelBytes);
    const ptrdiff_t dst_step = static_cast<ptrdiff_t>(source.height * kPixelBytes);
    if constexpr (kClockwise) {
        const uint8_t* last_row = src + static_cast<ptrdiff_t>(source.height - 1) * src_step;
        transpose<V, kPixelBytes>(last_row, -src_step, dst, dst_step, source.width, source.height);
    } else {
        uint8_t* last_row = dst + static_cast<ptrdiff_t>(source.width - 1) * dst_step;
        transpose<V, kPixelBytes>(src, src_step, last_row, -dst_step, source.width, source.height);
    }
}

}  // namespace imgcnv
