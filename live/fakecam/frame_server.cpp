#include "fakecam/frame_server.h"

#include "support/engine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace live {

void FrameServer::serve(const Request& request, std::span<std::uint8_t> payload) {
    auto frame = frames_.next();
    if (frame.empty()) frame = frames_.next();  // a client that starts again
    const bool is_as_dumped = request.format == dump_.format && request.width == dump_.width &&
                              request.height == dump_.height && payload.size() == frame.size();
    try {
        if (is_as_dumped)
            std::ranges::copy(frame, payload.begin());
        else
            repack(request, frame, payload);
    } catch (const Failure& failure) {
        std::ranges::fill(payload, std::uint8_t{0});
        if (!has_complained_)
            std::fprintf(stderr, "imgcnv-fakecam: frames are black: %s\n", failure.what());
        has_complained_ = true;
    }
}

void FrameServer::repack(const Request& request, std::span<const std::uint8_t> frame,
                         std::span<std::uint8_t> payload) {
    imgcnv_frame wanted = IMGCNV_FRAME_INIT;
    wanted.format = request.format;
    wanted.width = request.width;
    wanted.height = request.height;
    if (sizes_of(wanted).frame_bytes != static_cast<std::int64_t>(payload.size()))
        throw Failure("this format cannot be sent at this width: choose an even one");

    imgcnv_target target = IMGCNV_TARGET_INIT;
    target.kind = IMGCNV_TARGET_RGB48;
    target.flags = IMGCNV_TARGET_FULL_SCALE;
    char text[IMGCNV_TEXT_BYTES] = "";
    picture_.resize(static_cast<std::size_t>(dump_.width * dump_.height * 3));
    if (imgcnv_convert_frame(&dump_, &target, frame.data(), frame.size(), picture_.data(),
                             picture_.size() * 2, text, sizeof text) != IMGCNV_OK)
        throw Failure(text);

    const auto x = std::clamp<std::int64_t>(request.x, 0, dump_.width - request.width);
    const auto y = std::clamp<std::int64_t>(request.y, 0, dump_.height - request.height);
    region_.resize(static_cast<std::size_t>(request.width * request.height * 3));
    for (std::int64_t row = 0; row < request.height; ++row)
        std::memcpy(&region_[row * request.width * 3], &picture_[((y + row) * dump_.width + x) * 3],
                    request.width * 3 * 2);
    if (imgcnv_pack_frame(&wanted, region_.data(), 3, payload.data(), payload.size(), text,
                          sizeof text) != IMGCNV_OK)
        throw Failure(text);
}

}  // namespace live
