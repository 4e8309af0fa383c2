#include <memory>
#include <opencv2/imgproc.hpp>

#include "libyuv_steps.h"

namespace imgcnv::bench {
namespace {

constexpr const char* kLibrary = "libyuv + OpenCV";

// libyuv makes bytes of the samples, OpenCV three channels of the bytes.
template <class ToBytes>
std::function<void()> then(const PeerView& v, ToBytes to_bytes, int code) {
    cv::Mat out(v.height, v.width, CV_8UC3, v.dst);
    return [=, bytes = cv::Mat(v.height, v.width, CV_8UC1)]() mutable {
        to_bytes(bytes.data);
        cv::cvtColor(bytes, out, code);
    };
}

auto words(int bits, int code) {
    return [=](const PeerView& v) {
        return then(
            v, [=](uint8_t* dst) { yuv_words_to_bytes(v, bits, dst); }, code);
    };
}

auto packed(int code) {
    return [=](const PeerView& v) {
        const auto pairs = std::make_shared<YuvPackedPairs>(v);
        return then(
            v, [=](uint8_t* dst) { pairs->to_bytes(v, dst); }, code);
    };
}

}  // namespace

void add_libyuv_with_opencv(std::vector<Peer>& peers) {
    const char* demosaic = "demosaicing rounded, border copied from its neighbours";
    peers.push_back({"Mono10-RGB24", kLibrary, "two steps", words(10, cv::COLOR_GRAY2RGB)});
    peers.push_back({"Mono12Packed-RGB24", kLibrary, "three steps", packed(cv::COLOR_GRAY2RGB)});
    peers.push_back(
        {"BayerRG12-RGB24-bilinear", kLibrary, demosaic, words(12, cv::COLOR_BayerBG2RGB)});
    peers.push_back(
        {"BayerRG12Packed-RGB24-bilinear", kLibrary, demosaic, packed(cv::COLOR_BayerBG2RGB)});
}

}  // namespace imgcnv::bench
