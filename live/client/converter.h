#pragma once

#include "client/camera.h"
#include "support/engine.h"

#include <cstdint>
#include <string>
#include <vector>

namespace live {

/// An 8-bit picture, rows without gaps: grey, RGB or BGRA.
struct Picture {
    std::int64_t width = 0, height = 0;
    int channels = 0;
    std::vector<std::uint8_t> pixels;

    std::int64_t row_bytes() const { return width * channels; }
};

/// Converts frames, whose format and size may change from one to the next.
class Converter {
  public:
    /// `kind`: imgcnv_target_kind; 0: grey for grey formats and RGB for others.
    Converter(int demosaic, int threads, int kind);

    /// The time it took in milliseconds. Throws Failure.
    double convert(const imgcnv_frame& frame, const void* data, std::size_t bytes);

    Picture& picture() { return picture_; }

    /// Takes effect with the next frame.
    void next_demosaic();
    void toggle_auto_levels();

  private:
    void open(const imgcnv_frame& frame, const void* data, std::size_t bytes);

    imgcnv_frame frame_ = IMGCNV_FRAME_INIT;
    imgcnv_target target_ = IMGCNV_TARGET_INIT;
    imgcnv_levels levels_ = IMGCNV_LEVELS_INIT;
    int kind_;
    bool auto_levels_ = false;
    Pipeline pipeline_;
    Picture picture_;
};

/// Writes a PNG beside the name and renames it. Throws Failure.
void write_png(const Picture& picture, const std::string& path);

}  // namespace live
