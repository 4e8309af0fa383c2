#include "client/report.h"

#include "support/engine.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace live {
namespace {

constexpr std::size_t kMostConversions = 100'000;  // a quarter of an hour at 100 fps

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

double cpu_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

void Report::add_frame(const imgcnv_frame& frame, std::size_t bytes, Clock::time_point now) {
    if (has_last_) {
        const double seconds = std::chrono::duration<double>(now - last_).count();
        seconds_ += seconds;
        bytes_in_intervals_ += bytes;
        ++intervals_;
        // A mean over about 20 frames: steady enough to read.
        recent_interval_ += (seconds - recent_interval_) * (intervals_ > 1 ? 0.05 : 1);
    }
    has_last_ = true;
    last_ = now;
    frame_ = frame;
    ++frames_;
}

void Report::add_conversion(double milliseconds) {
    const auto at = static_cast<std::size_t>(conversions_++) % kMostConversions;
    if (at == milliseconds_.size())
        milliseconds_.push_back(static_cast<float>(milliseconds));
    else
        milliseconds_[at] = static_cast<float>(milliseconds);
}

double Report::megabytes_per_second() const {
    return seconds_ > 0 ? static_cast<double>(bytes_in_intervals_) / seconds_ / 1e6 : 0;
}

double Report::conversion(double fraction) const {
    if (milliseconds_.empty()) return 0;
    auto sorted = milliseconds_;
    const auto at = static_cast<std::size_t>(fraction * static_cast<double>(sorted.size() - 1));
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(at),
                     sorted.end());
    return sorted[at];
}

std::string Report::format() const {
    if (frame_.format == 0) return "no frame yet";
    return formatted("%s %lldx%lld", format_info(frame_.format).name,
                     static_cast<long long>(frame_.width), static_cast<long long>(frame_.height));
}

std::string Report::title() const {
    return formatted("%s, %.1f fps, %llu missing packets", format().c_str(), recent_fps(),
                     static_cast<unsigned long long>(missing_));
}

std::string Report::status() const {
    return formatted("%s: %lld frames, %.1f fps, %.1f MB/s, %llu missing packets, %lld incomplete",
                     format().c_str(), static_cast<long long>(frames_), recent_fps(),
                     megabytes_per_second(), static_cast<unsigned long long>(missing_),
                     static_cast<long long>(incomplete_));
}

std::string Report::text() const {
    auto text = formatted(
        "%s: %lld frames, %.1f fps, %.1f MB/s\n%llu missing packets, %lld incomplete frames",
        format().c_str(), static_cast<long long>(frames_), fps(), megabytes_per_second(),
        static_cast<unsigned long long>(missing_), static_cast<long long>(incomplete_));
    if (losses_ > 0) text += formatted(", camera lost %lld times", static_cast<long long>(losses_));
    if (conversions_ > 0)
        text += formatted(
            "\nconverting: median %.2f ms, 99th percentile %.2f ms; %.1f s of CPU time in all",
            conversion(0.5), conversion(0.99), cpu_seconds());
    return text;
}

std::string Report::json() const {
    const bool has_format = frame_.format != 0;
    return formatted(
        "{\"format\": \"%s\", \"width\": %lld, \"height\": %lld, \"frames\": %lld, \"fps\": %.3f, "
        "\"megabytes_per_second\": %.3f, \"missing_packets\": %llu, \"incomplete_frames\": %lld, "
        "\"losses\": %lld, \"conversions\": %lld, \"conversion_ms\": {\"median\": %.4f, \"p99\": "
        "%.4f}, \"seconds\": %.3f, \"cpu_seconds\": %.3f}",
        has_format ? format_info(frame_.format).name : "", static_cast<long long>(frame_.width),
        static_cast<long long>(frame_.height), static_cast<long long>(frames_), fps(),
        megabytes_per_second(), static_cast<unsigned long long>(missing_),
        static_cast<long long>(incomplete_), static_cast<long long>(losses_),
        static_cast<long long>(conversions_), conversion(0.5), conversion(0.99), seconds_,
        cpu_seconds());
}

}  // namespace live
