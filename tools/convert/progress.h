#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace tool {

using Clock = std::chrono::steady_clock;

/// Seconds spent in each stage, summed over the workers.
struct StageTimes {
    double read = 0, convert = 0, encode = 0, write = 0;
    std::int64_t frames = 0, bytes_in = 0, bytes_out = 0;

    StageTimes& operator+=(const StageTimes& other);
};

/// The line at the bottom of the terminal: a bar, the rate, the time left.
class Progress {
  public:
    explicit Progress(std::optional<std::int64_t> frames) : frames_(frames) {}
    ~Progress();

    void add(const StageTimes& frame);
    StageTimes total() const;
    double seconds() const;

  private:
    std::string line(double seconds) const;

    std::optional<std::int64_t> frames_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
    mutable std::mutex lock_;
    StageTimes total_;
};

std::string stats_text(const StageTimes& times, double seconds, int workers);
std::string stats_json(const StageTimes& times, double seconds, int workers);

}  // namespace tool
