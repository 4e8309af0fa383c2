#include "libyuv_steps.h"

namespace imgcnv::bench {
namespace {

constexpr const char* kLibrary = "libyuv";

using Bytes = std::vector<uint8_t>;
using Run = std::function<void()>;

// libyuv's ARGB is B, G, R, alpha in memory, its RGB24 B, G, R, its RAW R, G, B.
using OneStep = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

auto one_step(OneStep step, int src_bytes, int dst_bytes) {
    return [=](const PeerView& v) -> Run {
        return [=] {
            step(v.src, v.width * src_bytes, v.dst, v.width * dst_bytes, v.width, v.height);
        };
    };
}

auto by_argb(OneStep to_argb, int src_bytes, OneStep from_argb, int dst_bytes) {
    return [=](const PeerView& v) -> Run {
        return [=, argb = Bytes(v.pixels() * 4)]() mutable {
            to_argb(v.src, v.width * src_bytes, argb.data(), v.width * 4, v.width, v.height);
            from_argb(argb.data(), v.width * 4, v.dst, v.width * dst_bytes, v.width, v.height);
        };
    };
}

auto words(int bits) {
    return [=](const PeerView& v) -> Run { return [=] { yuv_words_to_bytes(v, bits, v.dst); }; };
}

Run packed(const PeerView& v) {
    return [v, pairs = YuvPackedPairs(v)]() mutable { pairs.to_bytes(v, v.dst); };
}

Run words10_to_rgb(const PeerView& v) {
    return [v, grey = Bytes(v.pixels()), argb = Bytes(v.pixels() * 4)]() mutable {
        yuv_words_to_bytes(v, 10, grey.data());
        libyuv::J400ToARGB(grey.data(), v.width, argb.data(), v.width * 4, v.width, v.height);
        libyuv::ARGBToRAW(argb.data(), v.width * 4, v.dst, v.width * 3, v.width, v.height);
    };
}

Run packed_to_rgb(const PeerView& v) {
    return [v, pairs = YuvPackedPairs(v), grey = Bytes(v.pixels()),
            argb = Bytes(v.pixels() * 4)]() mutable {
        pairs.to_bytes(v, grey.data());
        libyuv::J400ToARGB(grey.data(), v.width, argb.data(), v.width * 4, v.width, v.height);
        libyuv::ARGBToRAW(argb.data(), v.width * 4, v.dst, v.width * 3, v.width, v.height);
    };
}

Run yuv444(const PeerView& v) {
    return [v, u = Bytes(v.pixels()), y = Bytes(v.pixels()), w = Bytes(v.pixels())]() mutable {
        libyuv::SplitRGBPlane(v.src, v.width * 3, u.data(), v.width, y.data(), v.width, w.data(),
                              v.width, v.width, v.height);
        // Exchanged chroma and its matrix give R, G, B.
        libyuv::I444ToRGB24Matrix(y.data(), v.width, w.data(), v.width, u.data(), v.width, v.dst,
                                  v.width * 3, &libyuv::kYvuJPEGConstants, v.width, v.height);
    };
}

Run copy(const PeerView& v) {
    return [v] { libyuv::CopyPlane(v.src, v.width, v.dst, v.width, v.width, v.height); };
}

Run copy_upside_down(const PeerView& v) {
    const int row = v.width * 3;
    return [v, row] { libyuv::CopyPlane(v.src, row, v.dst, row, row, -v.height); };
}

Run mirror1(const PeerView& v) {
    return [v] { libyuv::MirrorPlane(v.src, v.width, v.dst, v.width, v.width, v.height); };
}

auto mirror3(int direction) {
    return [=](const PeerView& v) -> Run {
        return [=] {
            libyuv::RGB24Mirror(v.src, v.width * 3, v.dst, v.width * 3, v.width,
                                v.height * direction);
        };
    };
}

Run turn90(const PeerView& v) {
    return [v] { libyuv::RotatePlane90(v.src, v.width, v.dst, v.height, v.width, v.height); };
}
Run turn180(const PeerView& v) {
    return [v] { libyuv::RotatePlane180(v.src, v.width, v.dst, v.width, v.width, v.height); };
}
Run turn270(const PeerView& v) {
    return [v] { libyuv::RotatePlane270(v.src, v.width, v.dst, v.height, v.width, v.height); };
}

}  // namespace

void add_libyuv(std::vector<Peer>& peers) {
    const auto add = [&](const char* conversion, auto prepare, const char* remark = "") {
        peers.push_back({conversion, kLibrary, remark, prepare});
    };
    const char* weights = "7-bit weights, rounded";
    const char* limited = "limited-range matrix of 6 bits; two steps";
    add("Mono8-Mono8", copy);
    add("Mono8-RGBA32", one_step(libyuv::J400ToARGB, 1, 4), "alpha 255");
    add("Mono12-Mono8", words(12));
    add("Mono16-Mono8", words(16));
    add("Mono10-RGB24", words10_to_rgb, "three steps");
    add("Mono12Packed-Mono8", packed, "two steps");
    add("Mono12Packed-RGB24", packed_to_rgb, "four steps");
    add("RGB8-BGR24", one_step(libyuv::RAWToRGB24, 3, 3));
    add("RGB8-RGBA32", one_step(libyuv::RGB24ToARGB, 3, 4), "alpha 255");
    add("RGB8-Mono8", one_step(libyuv::RAWToJ400, 3, 1), weights);
    add("YUV422-RGB24", by_argb(libyuv::UYVYToARGB, 2, libyuv::ARGBToRAW, 3), limited);
    add("YUV422_YUYV-RGB24", by_argb(libyuv::YUY2ToARGB, 2, libyuv::ARGBToRAW, 3), limited);
    add("YUV422-BGRA32", one_step(libyuv::UYVYToARGB, 2, 4),
        "limited-range matrix of 6 bits; alpha 255");
    add("YUV422-Mono8", by_argb(libyuv::UYVYToARGB, 2, libyuv::ARGBToJ400, 1),
        "limited-range matrix of 6 bits, luma with 7-bit weights; two steps");
    add("YUV444-RGB24", yuv444, "matrix of 6 bits; two steps");
    add("Mono8-flip-horizontal", mirror1);
    add("RGB8-flip-horizontal", mirror3(1));
    add("RGB8-flip-vertical", copy_upside_down);
    add("Mono8-rotate-90", turn90);
    add("Mono8-rotate-180", turn180);
    add("Mono8-rotate-270", turn270);
    add("RGB8-rotate-180", mirror3(-1));
}

}  // namespace imgcnv::bench
