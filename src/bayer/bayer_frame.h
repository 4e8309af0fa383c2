// What the three demosaic methods know of a frame, and the words they share.
//
// A mosaic repeats one 2x2 cell (here of RG). Half of its sites are green; the others are
// chroma sites: red ones in one row of the cell, blue ones in the other.
//
//   R g R g      row 0: its own colour is red, the other colour is blue
//   g B g B      row 1: its own colour is blue, the other colour is red
#pragma once

#include <cstddef>
#include <cstdint>

#include "converter/destination.h"
#include "converter/kernels_for_frame.h"

namespace imgcnv {

// The two letters name the first two samples of the first row.
enum class BayerOrder { RG, GB, BG };

// How the samples of a row become 8-bit samples.
struct LineFormat {
    bool is_8_bit;  // they are such samples; decode copies them
    size_t bits;    // of a sample
    // Decodes whole pairs of row y, or the row's last samples, from `part` of it on.
    void (*decode)(const void* decoder, const uint8_t* part, size_t y, uint8_t* line, size_t count);
    const void* decoder;  // of this library: a kernel

    // Decoded lines stay in the caches, whatever the frame: these are the ordinary kernels.
    static LineFormat of(MonoLayout layout) {
        const auto [samples, bytes] = group_of(layout);
        const auto decode = [](const void* kernel, const uint8_t* part, size_t /*y*/, uint8_t* line,
                               size_t count) {
            (*static_cast<const RowKernel*>(kernel))(part, line, count);
        };
        return {layout == kBytes, static_cast<size_t>(bytes * 8 / samples), decode,
                &kernels_for_this_cpu().mono[layout][kGrey1]};
    }
};

struct BayerFrame {
    const KernelTable* kernels;
    BayerOrder order;
    LineFormat line_format;
    const uint8_t* const* src_rows;  // `height` rows; an odd frame's last one is repeated
    uint8_t* const* dst_rows;        // `height` rows of width x dst_bytes
    size_t width;                    // >= 2
    size_t height;                   // even, >= 2
    size_t dst_bytes;                // 1, 3 or 4
    bool dst_red_first;
    bool beyond_caches;  // too large for them
    bool upside_down;    // the row tables run from the bottom up
    // What stands in dst_rows for rows that nobody reads, which need not be converted.
    const uint8_t* unread_row = nullptr;

    bool is_read(size_t y) const { return dst_rows[y] != unread_row; }

    // Red is in the even rows of RG and in the odd ones of GB and BG.
    bool row_has_red(size_t y) const { return (order == BayerOrder::RG) == (y % 2 == 0); }

    // Chroma sites lie on the main diagonal of the 2x2 cell, in GB on the other.
    bool starts_with_chroma(size_t y) const { return (y % 2 == 0) == (order != BayerOrder::GB); }
    RowStart row_start(size_t y) const {
        return starts_with_chroma(y) ? kChromaFirst : kGreenFirst;
    }

    // Whether the row's own colour comes first in a destination pixel (for one
    // byte per pixel: is red).
    bool own_color_leads(size_t y) const {
        return dst_bytes == 1 ? row_has_red(y) : row_has_red(y) == dst_red_first;
    }

    // The byte of the row's own colour in a destination pixel (for one byte per pixel: 0 if it
    // is red, else 2).
    ptrdiff_t own_byte(size_t y) const { return own_color_leads(y) ? 0 : 2; }

    // The target of row y for channels (own colour, green, other colour).
    ColorTarget target(size_t y) const {
        return color_target(static_cast<int>(dst_bytes), own_color_leads(y));
    }

    uint8_t* dst(size_t y, size_t x) const { return dst_rows[y] + x * dst_bytes; }
};

void demosaic_nearest(const BayerFrame& frame);
void demosaic_bilinear(const BayerFrame& frame);
void demosaic_adaptive(const BayerFrame& frame);

// Integer means drop the fraction.
constexpr int avg2(int a, int b) { return (a + b) >> 1; }

// Calls demosaic.operator()<bytes per destination pixel>().
template <class Demosaic>
inline void for_destination(const BayerFrame& frame, Demosaic demosaic) {
    if (frame.dst_bytes == 1) return demosaic.template operator()<1>();
    if (frame.dst_bytes == 3) return demosaic.template operator()<3>();
    demosaic.template operator()<4>();
}

// Demosaics a frame with the kernels that suit its size; `frame` has everything but the kernels.
inline void demosaic(BayerFrame frame, size_t src_bytes, tagIMGCNV_EBayerDemosaic method) {
    const size_t bytes = src_bytes + frame.height * frame.width * frame.dst_bytes;
    const bool is_nearest = method == IMGCNV_DEMOSAIC_NEAREST;
    const KernelsForFrame kernels(
        bytes, 0,
        is_nearest ? KernelsForFrame::kStreamNearestAbove : KernelsForFrame::kStreamDemosaicAbove);
    frame.kernels = &*kernels;
    frame.beyond_caches = bytes > KernelsForFrame::kStreamAbove;
    if (is_nearest) return demosaic_nearest(frame);
    if (method == IMGCNV_DEMOSAIC_BILINEAR) return demosaic_bilinear(frame);
    demosaic_adaptive(frame);
}

}  // namespace imgcnv
