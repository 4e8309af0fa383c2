#include "convert/progress.h"

#include "cli/messages.h"

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {

template <typename... Values>
std::string formatted(const char* format, Values... values) {
    char text[512];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

constexpr double kMega = 1e6;

}  // namespace

StageTimes& StageTimes::operator+=(const StageTimes& other) {
    read += other.read;
    convert += other.convert;
    encode += other.encode;
    write += other.write;
    frames += other.frames;
    bytes_in += other.bytes_in;
    bytes_out += other.bytes_out;
    return *this;
}

Progress::~Progress() { show_status(""); }

void Progress::add(const StageTimes& frame) {
    const std::lock_guard lock(lock_);
    total_ += frame;
    const auto now = Clock::now();
    const bool worth_it = !frames_ || *frames_ > 1;
    if (!worth_it || !status_visible() || now - shown_ < std::chrono::milliseconds(100)) return;
    shown_ = now;
    show_status(line(std::chrono::duration<double>(now - start_).count()));
}

std::string Progress::line(double seconds) const {
    const auto rate =
        formatted("%.0f frames/s, %.0f MB/s", static_cast<double>(total_.frames) / seconds,
                  static_cast<double>(total_.bytes_in) / kMega / seconds);
    if (!frames_) return formatted("%lld frames, ", static_cast<long long>(total_.frames)) + rate;
    constexpr int kBar = 24;
    const double done =
        std::min(1.0, static_cast<double>(total_.frames) / static_cast<double>(*frames_));
    const int filled = static_cast<int>(done * kBar);
    const auto left = static_cast<long>(seconds / done - seconds + 0.5);
    return "[" + std::string(filled, '#') + std::string(kBar - filled, '.') + "] " +
           formatted("%lld/%lld, ", static_cast<long long>(total_.frames),
                     static_cast<long long>(*frames_)) +
           rate + formatted(", %ld:%02ld left", left / 60, left % 60);
}

StageTimes Progress::total() const {
    const std::lock_guard lock(lock_);
    return total_;
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

std::string stats_text(const StageTimes& t, double seconds, int workers) {
    const double busy = std::max(t.read + t.convert + t.encode + t.write, 1e-9);
    const auto stage = [&](const char* name, double spent) {
        return formatted("\n  %-8s %8.3f s  %5.1f %%", name, spent, 100 * spent / busy);
    };
    return formatted(
               "%lld frames in %.3f s with %d workers: %.1f frames/s, %.1f MB/s in, "
               "%.1f MB/s out\n  time spent, summed over the workers:",
               static_cast<long long>(t.frames), seconds, workers,
               static_cast<double>(t.frames) / seconds,
               static_cast<double>(t.bytes_in) / kMega / seconds,
               static_cast<double>(t.bytes_out) / kMega / seconds) +
           stage("read", t.read) + stage("convert", t.convert) + stage("encode", t.encode) +
           stage("write", t.write);
}

std::string stats_json(const StageTimes& t, double seconds, int workers) {
    return formatted(
        "{\"frames\": %lld, \"seconds\": %.6f, \"workers\": %d, \"bytes_in\": %lld, "
        "\"bytes_out\": %lld, \"read_seconds\": %.6f, \"convert_seconds\": %.6f, "
        "\"encode_seconds\": %.6f, \"write_seconds\": %.6f}",
        static_cast<long long>(t.frames), seconds, workers, static_cast<long long>(t.bytes_in),
        static_cast<long long>(t.bytes_out), t.read, t.convert, t.encode, t.write);
}

}  // namespace tool
