#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace live {

/// The frames of dumps, one after the other.
class DumpFrames {
  public:
    /// Checks every file. Throws Failure.
    DumpFrames(const imgcnv_frame& frame, const std::vector<std::string>& paths, bool loop);

    std::int64_t count() const { return count_; }

    /// The next frame, in memory that the next call reuses; empty after the last one, whereupon it
    /// starts from the first.
    std::span<const std::uint8_t> next();

    /// Whether next() will have one.
    bool has_next() const { return loop_ || next_ < count_; }

  private:
    struct Dump {
        std::string path;
        std::ifstream stream;
        std::int64_t frames;
    };

    imgcnv_frame frame_;
    std::vector<Dump> dumps_;
    std::vector<std::uint8_t> bytes_;
    std::int64_t count_ = 0;
    std::int64_t next_ = 0;
    bool loop_;
};

}  // namespace live
