#pragma once

#include "engine/frame.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace tool {

/// What describes the frames of a file, for every subcommand that reads raw frames.
struct SourceOptions {
    std::optional<std::string> format, size;  ///< absent: from the file name
    std::optional<std::int64_t> padding, stride;
    std::int64_t skip = 0, gap = 0;
    bool big_endian = false;
    std::string range;  ///< "", "full" or "video"

    /// The frames in this input; says what it took from the name. Throws UsageError.
    Frame frame_for(const std::string& input) const;
};

/// What is done to samples before they become a picture.
struct LevelOptions {
    std::optional<double> black, white, gamma, contrast;
    std::string gain;  ///< "", one number, or three separated by commas
    bool automatic = false;

    bool any() const { return automatic || black || white || gamma || contrast || !gain.empty(); }
    /// What was given, laid over what --auto finds in the frame. Throws UsageError or Failure.
    imgcnv_levels levels_for(const Frame& frame, std::span<const std::uint8_t> source) const;
};

}  // namespace tool
