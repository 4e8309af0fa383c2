#include <opencv2/core.hpp>
#include <opencv2/core/ocl.hpp>
#include <opencv2/imgproc.hpp>

#include "peer.h"

namespace imgcnv::bench {
namespace {

constexpr const char* kLibrary = "OpenCV";

cv::Mat source(const PeerView& v, int type) { return {v.height, v.width, type, v.src}; }
cv::Mat destination(const PeerView& v, int type) { return {v.height, v.width, type, v.dst}; }

// One cvtColor between the two buffers.
auto color(int from, int to, int code) {
    return [=](const PeerView& v) -> std::function<void()> {
        return [in = source(v, from), out = destination(v, to), code]() mutable {
            cv::cvtColor(in, out, code);
        };
    };
}

// Words of `bits` to bytes, and those to three.
auto words(int bits, bool to_rgb) {
    return [=](const PeerView& v) -> std::function<void()> {
        const double scale = 1.0 / (1 << (bits - 8));
        cv::Mat grey = to_rgb ? cv::Mat(v.height, v.width, CV_8UC1) : destination(v, CV_8UC1);
        return [=, in = source(v, CV_16UC1), out = destination(v, CV_8UC3)]() mutable {
            in.convertTo(grey, CV_8U, scale);
            if (to_rgb) cv::cvtColor(grey, out, cv::COLOR_GRAY2RGB);
        };
    };
}

auto flip(int type, int code) {
    return [=](const PeerView& v) -> std::function<void()> {
        return [in = source(v, type), out = destination(v, type), code]() mutable {
            cv::flip(in, out, code);
        };
    };
}

auto rotate(int type, cv::RotateFlags by) {
    return [=](const PeerView& v) -> std::function<void()> {
        cv::Mat out =
            by == cv::ROTATE_180 ? destination(v, type) : cv::Mat(v.width, v.height, type, v.dst);
        return [=, in = source(v, type)]() mutable { cv::rotate(in, out, by); };
    };
}

std::function<void()> edge_aware_grey(const PeerView& v) {
    return [in = source(v, CV_8UC1), rgb = cv::Mat(v.height, v.width, CV_8UC3),
            out = destination(v, CV_8UC1)]() mutable {
        cv::cvtColor(in, rgb, cv::COLOR_BayerBG2RGB_EA);
        cv::cvtColor(rgb, out, cv::COLOR_RGB2GRAY);
    };
}

// A table of 256 pairs of bytes.
std::function<void()> nibbles(const PeerView& v) {
    cv::Mat table(1, 256, CV_16UC1);
    for (int i = 0; i < 256; ++i) {
        table.at<uint16_t>(i) = static_cast<uint16_t>((i & 15) << 4 | (i >> 4) << 12);
    }
    const int bytes = v.pixels() / 2;
    return [in = cv::Mat(1, bytes, CV_8UC1, v.src), out = cv::Mat(1, bytes, CV_16UC1, v.dst),
            table]() mutable { cv::LUT(in, table, out); };
}

}  // namespace

void add_opencv(std::vector<Peer>& peers) {
    cv::setNumThreads(1);
    cv::ocl::setUseOpenCL(false);
    const auto add = [&](const char* conversion, auto prepare, const char* remark = "") {
        peers.push_back({conversion, kLibrary, remark, prepare});
    };
    const char* rounds = "rounds instead of dropping bits";
    const char* opaque = "alpha 255";
    const char* limited = "limited-range matrix, rounded";
    const char* weights = "15-bit weights, rounded";
    add("Mono8-RGB24", color(CV_8UC1, CV_8UC3, cv::COLOR_GRAY2RGB));
    add("Mono8-RGBA32", color(CV_8UC1, CV_8UC4, cv::COLOR_GRAY2RGBA), opaque);
    add("Mono12-Mono8", words(12, false), rounds);
    add("Mono16-Mono8", words(16, false), rounds);
    add("Mono10-RGB24", words(10, true), "two steps; rounds instead of dropping bits");
    add("Mono4p-Mono8", nibbles, "LUT of byte pairs");
    add("RGB8-BGR24", color(CV_8UC3, CV_8UC3, cv::COLOR_RGB2BGR));
    add("RGB8-RGBA32", color(CV_8UC3, CV_8UC4, cv::COLOR_RGB2RGBA), opaque);
    add("RGB8-Mono8", color(CV_8UC3, CV_8UC1, cv::COLOR_RGB2GRAY), weights);
    add("YUV422-RGB24", color(CV_8UC2, CV_8UC3, cv::COLOR_YUV2RGB_UYVY), limited);
    add("YUV422_YUYV-RGB24", color(CV_8UC2, CV_8UC3, cv::COLOR_YUV2RGB_YUYV), limited);
    add("YUV422-BGRA32", color(CV_8UC2, CV_8UC4, cv::COLOR_YUV2BGRA_UYVY),
        "limited-range matrix, rounded; alpha 255");
    add("YUV444-RGB24", color(CV_8UC3, CV_8UC3, cv::COLOR_YUV2RGB),
        "takes Y U V, so the colours are not ours; rounded");
    // OpenCV names a mosaic by its second row from the second column on.
    add("BayerRG8-RGB24-bilinear", color(CV_8UC1, CV_8UC3, cv::COLOR_BayerBG2RGB),
        "rounded; border copied from its neighbours");
    add("BayerRG8-RGBA32-bilinear", color(CV_8UC1, CV_8UC4, cv::COLOR_BayerBG2RGBA),
        "rounded; border copied from its neighbours; alpha 255");
    add("BayerRG8-Mono8-bilinear", color(CV_8UC1, CV_8UC1, cv::COLOR_BayerBG2GRAY),
        "grey by a 3x3 filter with 14-bit weights");
    add("BayerRG8-RGB24-adaptive", color(CV_8UC1, CV_8UC3, cv::COLOR_BayerBG2RGB_EA),
        "edge-aware: green by the smaller gradient, without correction");
    add("BayerRG8-Mono8-adaptive", edge_aware_grey, "edge-aware, then grey: two steps");
    add("Mono8-flip-horizontal", flip(CV_8UC1, 1));
    add("RGB8-flip-horizontal", flip(CV_8UC3, 1));
    add("RGB8-flip-vertical", flip(CV_8UC3, 0));
    add("Mono8-rotate-90", rotate(CV_8UC1, cv::ROTATE_90_CLOCKWISE));
    add("Mono8-rotate-270", rotate(CV_8UC1, cv::ROTATE_90_COUNTERCLOCKWISE));
    add("RGB8-rotate-90", rotate(CV_8UC3, cv::ROTATE_90_CLOCKWISE));
    add("RGB8-rotate-270", rotate(CV_8UC3, cv::ROTATE_90_COUNTERCLOCKWISE));
    add("Mono8-rotate-180", rotate(CV_8UC1, cv::ROTATE_180));
    add("RGB8-rotate-180", rotate(CV_8UC3, cv::ROTATE_180));
}

}  // namespace imgcnv::bench
