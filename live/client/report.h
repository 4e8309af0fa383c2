#pragma once

#include "imgcnv_frames.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace live {

/// What has been received, and how fast.
class Report {
  public:
    using Clock = std::chrono::steady_clock;

    /// A stream began: the time since the frame before does not count.
    void start_stream() { has_last_ = false; }
    void add_frame(const imgcnv_frame& frame, std::size_t bytes, Clock::time_point now);
    void add_incomplete() { ++incomplete_; }
    void add_conversion(double milliseconds);
    void add_loss() { ++losses_; }
    /// Of all streams that have ended, and of the one that runs.
    void set_missing(std::uint64_t ended, std::uint64_t running) { missing_ = ended + running; }

    std::int64_t frames() const { return frames_; }
    double fps() const { return seconds_ > 0 ? static_cast<double>(intervals_) / seconds_ : 0; }
    double recent_fps() const { return recent_interval_ > 0 ? 1 / recent_interval_ : 0; }
    std::uint64_t missing_packets() const { return missing_; }
    std::string format() const;

    /// One line for a terminal, a window's title, a few lines for the end, an object.
    std::string status() const;
    std::string title() const;
    std::string text() const;
    std::string json() const;

  private:
    double megabytes_per_second() const;
    double conversion(double fraction) const;

    imgcnv_frame frame_ = IMGCNV_FRAME_INIT;
    std::int64_t frames_ = 0, incomplete_ = 0, losses_ = 0, intervals_ = 0, conversions_ = 0;
    std::uint64_t missing_ = 0, bytes_in_intervals_ = 0;
    double seconds_ = 0, recent_interval_ = 0;
    bool has_last_ = false;
    Clock::time_point last_;
    std::vector<float> milliseconds_;
};

}  // namespace live
