extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <memory>

#include "peer.h"

namespace imgcnv::bench {
namespace {

auto scaler(AVPixelFormat from, AVPixelFormat to) {
    return [=](const PeerView& v) -> std::function<void()> {
        const std::shared_ptr<SwsContext> context(
            sws_getContext(v.width, v.height, from, v.width, v.height, to,
                           SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr),
            sws_freeContext);
        if (context == nullptr) return nullptr;
        // Full range on both sides.
        const int* bt601 = sws_getCoefficients(SWS_CS_ITU601);
        sws_setColorspaceDetails(context.get(), bt601, 1, bt601, 1, 0, 1 << 16, 1 << 16);
        return [=] {
            uint8_t *in[4], *out[4];
            int in_row[4], out_row[4];
            av_image_fill_arrays(in, in_row, v.src, from, v.width, v.height, 1);
            av_image_fill_arrays(out, out_row, v.dst, to, v.width, v.height, 1);
            sws_scale(context.get(), in, in_row, 0, v.height, out, out_row);
        };
    };
}

}  // namespace

void add_swscale(std::vector<Peer>& peers) {
    av_log_set_level(AV_LOG_QUIET);
    const auto add = [&](const char* conversion, AVPixelFormat from, AVPixelFormat to,
                         const char* remark = "") {
        peers.push_back({conversion, "swscale", remark, scaler(from, to)});
    };
    const char* bilinear = "demosaicing rounded, border by copying";
    add("Mono1p-Mono8", AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_GRAY8, "first pixel in the highest bit");
    add("Mono8-RGB24", AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24);
    add("Mono8-RGBA32", AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGBA, "alpha 255");
    add("Mono10-RGB24", AV_PIX_FMT_GRAY10LE, AV_PIX_FMT_RGB24);
    add("Mono12-Mono8", AV_PIX_FMT_GRAY12LE, AV_PIX_FMT_GRAY8, "dithers");
    add("Mono16-Mono8", AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_GRAY8, "dithers");
    add("RGB8-BGR24", AV_PIX_FMT_RGB24, AV_PIX_FMT_BGR24);
    add("RGB8-RGBA32", AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, "alpha 255");
    add("RGB8-Mono8", AV_PIX_FMT_RGB24, AV_PIX_FMT_GRAY8, "rounded");
    add("YUV422-RGB24", AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24, "full-range matrix, rounded");
    add("YUV422_YUYV-RGB24", AV_PIX_FMT_YUYV422, AV_PIX_FMT_RGB24, "full-range matrix, rounded");
    add("YUV422-BGRA32", AV_PIX_FMT_UYVY422, AV_PIX_FMT_BGRA,
        "full-range matrix, rounded; alpha 255");
    add("BayerRG8-RGB24-bilinear", AV_PIX_FMT_BAYER_RGGB8, AV_PIX_FMT_RGB24, bilinear);
}

}  // namespace imgcnv::bench
