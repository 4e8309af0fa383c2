#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <optional>
#include <string>

namespace live {

struct Region {
    int x = 0, y = 0, width = 0, height = 0;
};

struct Options {
    std::string camera;  ///< ID or address; empty: the first that answers
    bool list = false;

    // What the camera is set to; absent: it stays as it is.
    std::optional<std::uint32_t> format;
    std::optional<Region> region;
    std::optional<double> exposure, gain, fps;
    std::optional<int> packet_size;
    int buffers = 8;

    int demosaic = IMGCNV_BILINEAR;
    int threads = 1;
    std::int64_t frames = 0;  ///< 0: until told to end
    std::string first, record;
    bool window = false;
    bool incomplete = false;
    bool json = false;
};

/// Returns the exit code where the command line is a question (--help) or wrong.
std::optional<int> parse_options(int argc, char** argv, Options& options);

}  // namespace live
