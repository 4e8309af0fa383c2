#pragma once

#include "fakecam/dump_frames.h"

#include <span>
#include <vector>

namespace live {

/// What a client has set a camera to.
struct Request {
    std::uint32_t format;
    std::int64_t x, y, width, height;
};

/// Serves frames as the client asks for them: as they lie in the dump where format and region are
/// the dump's, else packed anew from the dump's picture.
class FrameServer {
  public:
    FrameServer(const imgcnv_frame& dump, DumpFrames& frames) : dump_(dump), frames_(frames) {}

    /// Fills `payload` with the next frame. What cannot be made is black, and said once.
    void serve(const Request& request, std::span<std::uint8_t> payload);

  private:
    void repack(const Request& request, std::span<const std::uint8_t> frame,
                std::span<std::uint8_t> payload);

    imgcnv_frame dump_;
    DumpFrames& frames_;
    std::vector<std::uint16_t> picture_;
    std::vector<std::uint16_t> region_;
    bool has_complained_ = false;
};

}  // namespace live
