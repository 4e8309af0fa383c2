#include <dc1394/dc1394.h>

#include "peer.h"

namespace imgcnv::bench {
namespace {

auto demosaic(dc1394bayer_method_t method) {
    return [=](const PeerView& v) -> std::function<void()> {
        return [=] {
            dc1394_bayer_decoding_8bit(v.src, v.dst, v.width, v.height, DC1394_COLOR_FILTER_RGGB,
                                       method);
        };
    };
}

auto to_rgb(dc1394color_coding_t coding, uint32_t byte_order) {
    return [=](const PeerView& v) -> std::function<void()> {
        return
            [=] { dc1394_convert_to_RGB8(v.src, v.dst, v.width, v.height, byte_order, coding, 8); };
    };
}

}  // namespace

void add_libdc1394(std::vector<Peer>& peers) {
    const auto add = [&](const char* conversion, auto prepare, const char* remark = "") {
        peers.push_back({conversion, "libdc1394", remark, prepare});
    };
    const char* matrix = "10-bit matrix";
    add("Mono8-RGB24", to_rgb(DC1394_COLOR_CODING_MONO8, DC1394_BYTE_ORDER_UYVY));
    add("YUV411-RGB24", to_rgb(DC1394_COLOR_CODING_YUV411, DC1394_BYTE_ORDER_UYVY), matrix);
    add("YUV422-RGB24", to_rgb(DC1394_COLOR_CODING_YUV422, DC1394_BYTE_ORDER_UYVY), matrix);
    add("YUV422_YUYV-RGB24", to_rgb(DC1394_COLOR_CODING_YUV422, DC1394_BYTE_ORDER_YUYV), matrix);
    add("YUV444-RGB24", to_rgb(DC1394_COLOR_CODING_YUV444, DC1394_BYTE_ORDER_UYVY), matrix);
    add("BayerRG8-RGB24-nearest", demosaic(DC1394_BAYER_METHOD_NEAREST), "border cleared");
    add("BayerRG8-RGB24-bilinear", demosaic(DC1394_BAYER_METHOD_BILINEAR),
        "rounded; border cleared");
    add("BayerRG8-RGB24-adaptive", demosaic(DC1394_BAYER_METHOD_HQLINEAR),
        "linear with gradient correction, no adaptation; border cleared");
}

}  // namespace imgcnv::bench
