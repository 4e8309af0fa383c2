#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/progress.h"
#include "errors.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>

namespace tool {
namespace {

struct BenchOptions {
    std::string format, size = "1920x1080", to;
    double seconds = 0.1;
    bool json = false;
};

struct Row {
    const SourceFormat* format;
    const char* method;
    PixelKind kind;
    double seconds;  ///< a frame, median
    std::int64_t bytes;
    std::int64_t pixels;

    double nanoseconds_per_pixel() const { return seconds * 1e9 / static_cast<double>(pixels); }
    double megabytes_per_second() const { return static_cast<double>(bytes) / seconds / 1e6; }
};

constexpr std::pair<const char*, PixelKind> kKinds[]{{"mono8", kMono8},
                                                     {"rgb24", kRgb24},
                                                     {"bgr24", kBgr24},
                                                     {"rgba32", kRgba32},
                                                     {"bgra32", kBgra32}};

constexpr std::pair<IMGCNV_EBayerDemosaic, const char*> kMethods[]{
    {IMGCNV_DEMOSAIC_NEAREST, "nearest"},
    {IMGCNV_DEMOSAIC_BILINEAR, "bilinear"},
    {IMGCNV_DEMOSAIC_ADAPTIVE, "adaptive"}};

std::string kind_name(PixelKind kind) {
    for (const auto& [name, value] : kKinds)
        if (value == kind) return name;
    return "";
}

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
std::vector<std::uint8_t> noise_frame(const FrameShape& shape) {
    if (shape.format->layout == Layout::Points) {
        std::vector<std::uint8_t> points;
        for (std::int64_t y = 1; y <= shape.height; ++y)
            for (std::int64_t x = 1; x <= shape.width; ++x)
                for (const auto byte : {x % 255 + 1, y >> 4, (y & 15) << 4 | x >> 8, x & 255})
                    points.push_back(static_cast<std::uint8_t>(byte));
        return points;
    }
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(shape.frameBytes()));
    std::uint64_t state = 88172645463325252;
    for (auto& byte : frame) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = static_cast<std::uint8_t>(state >> 32);
    }
    return frame;
}

Row measured(const FrameShape& shape, PixelKind kind, IMGCNV_EBayerDemosaic method,
             const char* method_name, double at_least) {
    auto frame = noise_frame(shape);
    FrameConverter converter(shape, kind, method, {});
    std::vector<double> times;
    converter.convert(frame);  // touches the memory
    Picture picture;
    for (const auto start = Clock::now();
         times.size() < 5 || Clock::now() - start < std::chrono::duration<double>(at_least);) {
        const auto before = Clock::now();
        picture = converter.convert(frame);
        times.push_back(std::chrono::duration<double>(Clock::now() - before).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return {shape.format,
            method_name,
            kind,
            *middle,
            static_cast<std::int64_t>(frame.size()) + picture.bytes(),
            picture.width * picture.height};
}

void print_json_row(const Row& row, bool first) {
    std::printf(
        "%s  {\"format\": %s, \"method\": %s, \"to\": \"%s\", \"ns_per_pixel\": %.4f, "
        "\"megabytes_per_second\": %.1f, \"frames_per_second\": %.1f}",
        first ? "\n" : ",\n", json_string(row.format->name).c_str(),
        row.method != nullptr ? json_string(row.method).c_str() : "null",
        kind_name(row.kind).c_str(), row.nanoseconds_per_pixel(), row.megabytes_per_second(),
        1 / row.seconds);
}

void print_row(const Row& row) {
    std::printf("%-19s %-9s %-7s %9.3f %9.0f %11.0f\n", std::string(row.format->name).c_str(),
                row.method != nullptr ? row.method : "", kind_name(row.kind).c_str(),
                row.nanoseconds_per_pixel(), row.megabytes_per_second(), 1 / row.seconds);
}

void bench(const BenchOptions& options) {
    const auto size = *requested_size(options.size);
    const auto* only = options.format.empty() ? nullptr : &formatNamed(options.format);
    if (options.json) {
        std::printf(
            "{\"cpu\": %s, \"level\": \"%s\", \"width\": %lld, \"height\": %lld, \"rows\": [",
            json_string(cpu_name()).c_str(), cpu_level(), static_cast<long long>(size.first),
            static_cast<long long>(size.second));
    } else {
        std::printf(
            "%s, level %s, one thread, frames of %lldx%lld\n\n%-19s %-9s %-7s %9s %9s "
            "%11s\n",
            cpu_name().c_str(), cpu_level(), static_cast<long long>(size.first),
            static_cast<long long>(size.second), "Format", "Method", "To", "ns/pixel", "MB/s",
            "frames/s");
    }
    bool first = true;
    for (const auto& format : sourceFormats()) {
        // GR frames are BG frames to the library.
        if (only != nullptr ? &format != only : format.order == Order::GR) continue;
        if (format.layout == Layout::Points && (size.first > 4095 || size.second > 4095)) continue;
        const auto shape = validated({&format, size.first, size.second, std::nullopt}, {});
        for (const auto& [name, kind] : kKinds) {
            const bool wanted = options.to == name || options.to == "all" ||
                                (options.to.empty() && kind == (format.isGrey() ? kMono8 : kRgb24));
            if (!wanted) continue;
            for (const auto& [method, method_name] : kMethods) {
                if (!format.isBayer() && method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                const auto row = measured(
                    shape, kind, method, format.isBayer() ? method_name : nullptr, options.seconds);
                options.json ? print_json_row(row, first) : print_row(row);
                std::fflush(stdout);
                first = false;
            }
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
    command
        ->add_option("--to", options->to,
                     "Pixels of the picture: mono8, rgb24, bgr24, rgba32, bgra32, or all. "
                     "Default: mono8 for grey formats, rgb24 for colour")
        ->type_name("PIXELS")
        ->check(CLI::IsMember({"mono8", "rgb24", "bgr24", "rgba32", "bgra32", "all"}));
    command
        ->add_option("--seconds", options->seconds,
                     "Time to spend on each conversion. Default: 0.1")
        ->type_name("S")
        ->check(CLI::Range(0.0, 60.0));
    command->add_flag("--json", options->json, "For programs");
    command->callback([options] { bench(*options); });
}

}  // namespace tool
