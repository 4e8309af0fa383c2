// Frames that are harder than they look, each timed against an easy one.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "report.h"
#include "tests/support/forced_level.h"

namespace imgcnv::bench {
namespace {

// A hard frame may take this much longer per pixel than the easy one.
constexpr double kAllowance = 1.5;
// What a call with an open handle may take beyond its pixels, ns.
constexpr double kCallAllowance = 1000;

constexpr Size kUsual{640, 480};

struct Variant {
    const char* name;
    Size size;
    int padding;
    int easy;  // index of the variant it is compared with; itself: an easy one
};

// Rows of 16 bytes of padding each end in a tail of their own; one pixel under
// a block is the longest tail, one beyond it the shortest.
constexpr Variant kShapes[] = {
    {"640", kUsual, 0, 0},          {"+pad", kUsual, 16, 0},        {"639+pad", {639, 480}, 16, 1},
    {"641+pad", {641, 480}, 16, 1}, {"128+pad", {128, 480}, 16, 4}, {"127+pad", {127, 480}, 16, 4},
    {"64+pad", {64, 480}, 16, 6},   {"63+pad", {63, 480}, 16, 6},
};

void report_failure(const Job& job, const Conversion& c) {
    if (!job.succeeded()) std::printf("%s FAILED\n", c.name.c_str());
}

// Ratios of a group of jobs of one conversion, each to its easy one.
template <class EasyOf>
bool print_ratios(const Conversion& c, const std::vector<std::unique_ptr<Job>>& jobs,
                  const std::vector<double>& job_pixels, EasyOf easy_of, const Options& options) {
    std::vector<Contestant> contestants;
    for (const auto& job : jobs) contestants.push_back({"", [&job] { job->run(); }});
    const std::vector<Timing> timings = race(contestants, options.effort);
    const auto ns = [&](size_t i) { return chosen(timings[i], options) / job_pixels[i]; };
    std::printf("%-32s", c.name.c_str());
    bool ok = true;
    for (size_t i = 0; i < jobs.size(); ++i) {
        const size_t easy = easy_of(i);
        report_failure(*jobs[i], c);
        if (i == easy) {
            std::printf(" %9.4f", ns(i));
        } else {
            const double ratio = ns(i) / ns(easy);
            ok &= ratio <= kAllowance;
            std::printf(" %8.2f%c", ratio, ratio <= kAllowance ? ' ' : '!');
        }
    }
    std::printf("\n");
    std::fflush(stdout);
    return ok;
}

bool wanted(const Conversion& c, const Options& options) {
    return c.limit_target > 0 && std::regex_search(c.name, options.filter);
}

bool print_shapes(const Options& options) {
    std::printf("Shapes: ns per pixel of easy frames, else the ratio to the easy one\n%-32s", "");
    for (const Variant& shape : kShapes) std::printf(" %9s", shape.name);
    std::printf("\n");
    const Content noise = Content::named("noise");
    bool ok = true;
    for (const Conversion& c : all_conversions()) {
        // Flips and rotations take no padding, and bit streams have none.
        if (!wanted(c, options) || c.orient != nullptr || is_stream(*c.source)) continue;
        std::vector<std::unique_ptr<Job>> jobs;
        std::vector<double> counts;
        for (const Variant& shape : kShapes) {
            jobs.push_back(std::make_unique<Job>(c, shape.size, noise, shape.padding));
            counts.push_back(pixels(shape.size));
        }
        ok &= print_ratios(
            c, jobs, counts, [](size_t i) { return kShapes[i].easy; }, options);
    }
    for (const Conversion& c : all_conversions()) {
        if (!wanted(c, options) || c.orient == nullptr) continue;
        std::vector<std::unique_ptr<Job>> jobs;
        std::vector<double> counts;
        std::printf("odd sides, 640x480 then 639x479: ");
        for (const Size size : {kUsual, Size{639, 479}}) {
            jobs.push_back(std::make_unique<Job>(c, size, noise));
            counts.push_back(pixels(size));
        }
        ok &= print_ratios(
            c, jobs, counts, [](size_t) { return 0; }, options);
    }
    return ok;
}

// Colours whose weighted sum is a whole number, where the rounding of the
// double-precision sum decides. Every grey is one.
std::vector<Rgb> ties(bool grey) {
    std::vector<Rgb> found;
    for (int red = 0; red < 256; ++red) {
        for (int green = 0; green < 256; ++green) {
            for (int blue = 0; blue < 256; ++blue) {
                const int t = 299 * red + 587 * green + 114 * blue;
                if (t % 1000 != 0 || (red == green && green == blue) != grey) continue;
                const double sum = (0.299 * red + 0.587 * green) + 0.114 * blue;
                // Those that come out one lower are the ones an integer path gets wrong.
                if (static_cast<int>(sum) == t / 1000 - 1) {
                    found.push_back({static_cast<uint8_t>(red), static_cast<uint8_t>(green),
                                     static_cast<uint8_t>(blue)});
                }
            }
        }
    }
    return found;
}

Content flat(Rgb color) {
    return Content::of("one colour", {1, 1}, std::shared_ptr<Rgb[]>(new Rgb[1]{color}));
}

// Squares of `side` pixels, each of a random one of the colours.
Content scattered(const std::vector<Rgb>& colors, int side = 1) {
    constexpr int kSize = 256;
    std::shared_ptr<Rgb[]> pixels(new Rgb[kSize * kSize]);
    uint32_t state = 1;
    for (int y = 0; y < kSize; y += side) {
        for (int x = 0; x < kSize; x += side) {
            state = state * 1664525 + 1013904223;
            const Rgb color = colors[(state >> 8) % colors.size()];
            for (int dy = 0; dy < side; ++dy) {
                std::fill_n(pixels.get() + (y + dy) * kSize + x, side, color);
            }
        }
    }
    return Content::of("random ties", {kSize, kSize}, pixels);
}

bool print_luma_ties(const Options& options) {
    const std::vector<Rgb> greys = ties(true), colors = ties(false);
    const Rgb middle = colors[colors.size() / 2];
    std::printf(
        "Luma: ns per pixel of noise, else the ratio to it; the tie colour is (%d, %d, %d)\n",
        middle.red, middle.green, middle.blue);
    // "tie cells": every 2x2 cell of a mosaic is one tie, and so is each of its pixels by the
    // nearest method.
    std::printf("%-32s %9s %9s %9s %9s %9s %9s %9s\n", "", "noise", "one grey", "greys", "one tie",
                "ties", "tie cells", "photo");
    const Content contents[] = {Content::named("noise"), flat(greys[greys.size() / 2]),
                                scattered(greys),        flat(middle),
                                scattered(colors),       scattered(colors, 2),
                                Content::named("photo")};
    bool ok = true;
    for (const char* name :
         {"RGB8-Mono8", "BGR8-Mono8", "YUV444-Mono8", "YUV422-Mono8", "YUV411-Mono8",
          "BayerRG8-Mono8-nearest", "BayerRG8-Mono8-bilinear", "BayerRG8-Mono8-adaptive"}) {
        const Conversion& c = conversion_named(name);
        if (!std::regex_search(c.name, options.filter)) continue;
        std::vector<std::unique_ptr<Job>> jobs;
        for (const Content& content : contents) {
            jobs.push_back(std::make_unique<Job>(c, kUsual, content));
        }
        const std::vector<double> counts(jobs.size(), pixels(kUsual));
        ok &= print_ratios(
            c, jobs, counts, [](size_t) { return 0; }, options);
    }
    return ok;
}

// Open, convert and close of the same frame with the function for its
// destination.
int one_shot(const Conversion& c, const Job& job, int* size) {
    Record record = job.frame().record;
    const auto convert = c.destination == IMGCNV_PIXEL_MONO8          ? IMGCNV_ConvertToMono8_Ex
                         : c.destination == IMGCNV_PIXEL_RGB8_PACKED  ? IMGCNV_ConvertToRGB24_Ex
                         : c.destination == IMGCNV_PIXEL_BGR8_PACKED  ? IMGCNV_ConvertToBGR24_Ex
                         : c.destination == IMGCNV_PIXEL_RGBA8_PACKED ? IMGCNV_ConvertToRGBA32_Ex
                                                                      : IMGCNV_ConvertToBGRA32_Ex;
    return convert(job.frame().bytes.data(), &record, job.destination().data(), size, c.method);
}

bool print_calls(const Options& options) {
    std::printf(
        "Calls, ns: 64x64 with a handle; of that, beyond 4096 pixels at the 640x480 rate; "
        "what the one-shot function adds; 8x8\n%-32s %9s %9s %9s %9s\n",
        "", "64x64", "beyond", "one-shot", "8x8");
    const Content noise = Content::named("noise");
    bool ok = true;
    for (const Conversion& c : all_conversions()) {
        if (!wanted(c, options)) continue;
        Job small(c, {64, 64}, noise), usual(c, kUsual, noise), tiny(c, {8, 8}, noise);
        int size = 1, status = 0;
        std::vector<Contestant> contestants = {
            {"", [&] { small.run(); }}, {"", [&] { usual.run(); }}, {"", [&] { tiny.run(); }}};
        if (c.orient == nullptr) {
            contestants.push_back({"", [&] { status |= one_shot(c, small, &size); }});
        }
        const std::vector<Timing> timings = race(contestants, options.effort);
        const auto ns = [&](size_t i) { return chosen(timings[i], options); };
        const double beyond = ns(0) - ns(1) * 64 * 64 / pixels(kUsual);
        std::printf("%-32s %9.0f %8.0f%c", c.name.c_str(), ns(0), beyond,
                    beyond < kCallAllowance ? ' ' : '!');
        if (c.orient == nullptr) {
            std::printf(" %9.0f", ns(3) - ns(0));
        } else {
            std::printf(" %9s", "-");
        }
        std::printf(" %9.0f\n", ns(2));
        report_failure(small, c);
        if (status != IMGCNV_SUCCESS) std::printf("%s FAILED in one call\n", c.name.c_str());
        ok &= beyond < kCallAllowance;
    }
    return ok;
}

}  // namespace

void print_worst_cases(const Options& options) {
    std::printf("%s\n", describe_machine().c_str());
    for (const std::string& level : options.levels) {
        testing::force_level(level);
        std::printf("\nLevel %s, %s\n", level.c_str(), options.minimum ? "minima" : "medians");
        const bool calls = print_calls(options);
        const bool luma = print_luma_ties(options);
        const bool shapes = print_shapes(options);
        std::printf("%s: calls %s, luma %s, shapes %s (! marks what exceeds its allowance)\n",
                    level.c_str(), calls ? "ok" : "MISS", luma ? "ok" : "MISS",
                    shapes ? "ok" : "MISS");
    }
}

}  // namespace imgcnv::bench
