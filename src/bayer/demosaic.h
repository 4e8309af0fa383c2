// Demosaics a frame with the kernels that suit its size. The frame engine has such frames, too.
#pragma once

#include "bayer/bayer_frame.h"
#include "converter/kernels_for_frame.h"
#include "imgcnv.h"

namespace imgcnv {

// `frame` has everything but the kernels.
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
