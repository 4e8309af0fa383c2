#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/progress.h"
#include "engine/converter.h"
#include "errors.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

namespace tool {
namespace {

struct BenchOptions {
    std::string format, size = "1920x1080", to;
    double seconds = 0.1;
    int threads = 1;
    bool json = false;
};

struct Row {
    const Format* format;
    const char* method;  ///< empty for what is not a mosaic
    int kind;
    double seconds;  ///< for a frame, median
    std::int64_t bytes;
    std::int64_t pixels;

    double nanoseconds_per_pixel() const { return seconds * 1e9 / static_cast<double>(pixels); }
    double megabytes_per_second() const { return static_cast<double>(bytes) / seconds / 1e6; }
};

std::string cpu_name() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    return "unknown CPU";
}

/// The instruction sets by which the library chooses its level, best first.
const char* cpu_level() {
    if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq"))
        return "avx512";
    if (__builtin_cpu_supports("avx2")) return "avx2";
    if (__builtin_cpu_supports("sse4.1")) return "sse4";
    return "plain";
}

/// Noise, the same in every run: no branch of a conversion may be predicted from it.
std::vector<std::uint8_t> noise_frame(const Frame& frame) {
    const auto width = frame.given.width, height = frame.given.height;
    if (frame.points()) {
        std::vector<std::uint8_t> points;
        for (std::int64_t y = 1; y <= height; ++y)
            for (std::int64_t x = 1; x <= width; ++x)
                for (const auto byte : {x % 255 + 1, y >> 4, (y & 15) << 4 | x >> 8, x & 255})
                    points.push_back(static_cast<std::uint8_t>(byte));
        return points;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(frame.sizes.frame_bytes));
    std::uint64_t state = 88172645463325252;
    for (auto& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = static_cast<std::uint8_t>(state >> 32);
    }
    return bytes;
}

Row time_conversion(const Frame& frame, const Format& format, const imgcnv_target& target,
                    double at_least) {
    const auto bytes = noise_frame(frame);
    Converter converter(frame, target);
    std::vector<double> times;
    auto picture = converter.convert(bytes);  // touches the memory
    for (const auto start = Clock::now();
         times.size() < 5 || Clock::now() - start < std::chrono::duration<double>(at_least);) {
        const auto before = Clock::now();
        picture = converter.convert(bytes);
        times.push_back(std::chrono::duration<double>(Clock::now() - before).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return {&format,
            is_mosaic(format) ? imgcnv_demosaic_name(target.demosaic) : "",
            target.kind,
            *middle,
            static_cast<std::int64_t>(bytes.size()) + picture.bytes(),
            picture.width * picture.height};
}

void print_json_row(const Row& row, bool first) {
    std::printf(
        "%s  {\"format\": %s, \"method\": %s, \"to\": \"%s\", \"ns_per_pixel\": %.4f, "
        "\"megabytes_per_second\": %.1f, \"frames_per_second\": %.1f}",
        first ? "\n" : ",\n", json_string(row.format->name).c_str(),
        *row.method != '\0' ? json_string(row.method).c_str() : "null",
        imgcnv_target_name(row.kind), row.nanoseconds_per_pixel(), row.megabytes_per_second(),
        1 / row.seconds);
}

void print_row(const Row& row) {
    std::printf("%-19s %-9s %-7s %9.3f %9.0f %11.0f\n", row.format->name, row.method,
                imgcnv_target_name(row.kind), row.nanoseconds_per_pixel(),
                row.megabytes_per_second(), 1 / row.seconds);
}

void print_head(const BenchOptions& options, std::int64_t width, std::int64_t height) {
    if (options.json) {
        std::printf(
            "{\"cpu\": %s, \"level\": \"%s\", \"threads\": %d, \"width\": %lld, \"height\": %lld, "
            "\"rows\": [",
            json_string(cpu_name()).c_str(), cpu_level(), options.threads,
            static_cast<long long>(width), static_cast<long long>(height));
        return;
    }
    std::printf("%s, level %s, threads: %d, frames of %lldx%lld\n\n%-19s %-9s %-7s %9s %9s %11s\n",
                cpu_name().c_str(), cpu_level(), options.threads, static_cast<long long>(width),
                static_cast<long long>(height), "Format", "Method", "To", "ns/pixel", "MB/s",
                "frames/s");
}

/// The targets of a format that are measured: the one that was asked for, or the usual one.
std::vector<int> targets_of(const Format& format, const std::string& asked) {
    if (asked.empty()) return {format.is_color != 0 ? IMGCNV_TARGET_RGB24 : IMGCNV_TARGET_MONO8};
    std::vector<int> kinds;
    for (int kind = IMGCNV_TARGET_MONO8; kind <= IMGCNV_TARGET_BGR48; ++kind)
        if (asked == "all" || asked == imgcnv_target_name(kind)) kinds.push_back(kind);
    return kinds;
}

void bench(const BenchOptions& options) {
    const auto [width, height] = *requested_size(options.size);
    imgcnv_frame only = IMGCNV_FRAME_INIT;
    if (!options.format.empty()) set_format(only, options.format);
    print_head(options, width, height);
    bool first = true;
    for (const auto& format : all_formats()) {
        if (only.format != 0 && format.code != only.format) continue;
        if (is_points(format) && (width > 4095 || height > 4095)) continue;
        imgcnv_frame given = IMGCNV_FRAME_INIT;
        given.format = format.code;
        given.width = width;
        given.height = height;
        const auto frame = measured(given);
        for (const int kind : targets_of(format, options.to))
            for (const int method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE}) {
                if (!is_mosaic(format) && method != IMGCNV_BILINEAR) continue;
                imgcnv_target target = IMGCNV_TARGET_INIT;
                target.kind = kind;
                target.demosaic = method;
                target.threads = options.threads;
                imgcnv_pipeline* possible = nullptr;
                if (imgcnv_pipeline_open(&frame.given, &target, &possible, nullptr, 0) ==
                    IMGCNV_UNSUPPORTED)
                    continue;
                imgcnv_pipeline_close(possible);
                const auto row = time_conversion(frame, format, target, options.seconds);
                options.json ? print_json_row(row, first) : print_row(row);
                std::fflush(stdout);
                first = false;
            }
    }
    if (options.json)
        std::printf("]}\n");
    else
        std::printf("\nMB/s counts the bytes of frame and picture; times are medians.\n");
}

}  // namespace

void add_bench(CLI::App& app) {
    auto* command = app.add_subcommand("bench", "Measure every conversion on this machine");
    auto options = std::make_shared<BenchOptions>();
    command->add_option("-f,--format", options->format, "Only this format. Default: all")
        ->type_name("FORMAT");
    command->add_option("-s,--size", options->size, "Size of the frames. Default: 1920x1080")
        ->type_name("WxH");
    std::vector<std::string> targets;
    for (int kind = IMGCNV_TARGET_MONO8; kind <= IMGCNV_TARGET_BGR48; ++kind)
        targets.emplace_back(imgcnv_target_name(kind));
    targets.emplace_back("all");
    one_of(command->add_option("--to", options->to,
                               "Pixels of the picture. Default: mono8 for grey formats, rgb24 for "
                               "colour"),
           targets);
    command
        ->add_option("--seconds", options->seconds,
                     "Time to spend on each conversion. Default: 0.1")
        ->type_name("S")
        ->check(CLI::Range(0.0, 60.0));
    in_range(
        command->add_option("--threads", options->threads, "Threads for each frame. Default: 1"), 1,
        256);
    command->add_flag("--json", options->json, "For programs");
    command->callback([options] { bench(*options); });
}

}  // namespace tool
