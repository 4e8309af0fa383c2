// Speed over the size of the frame, and over threads with one handle each.
#include <algorithm>
#include <barrier>
#include <cstdio>
#include <memory>
#include <thread>

#include "bare_pass.h"
#include "report.h"
#include "tests/support/forced_level.h"

namespace imgcnv::bench {
namespace {

constexpr const char* kExamples[] = {
    "Mono8-Mono8",
    "Mono8-RGB24",
    "Mono12Packed-Mono8",
    "RGB8-Mono8",
    "YUV422-RGB24",
    "BayerRG8-RGB24-bilinear",
    "BayerRG8-RGB24-adaptive",
    "BayerRG12Packed-RGB24-bilinear",
    "Mono8-rotate-90",
};

// In steps of 4 pixels from what the first-level cache holds to what no cache does.
constexpr Size kSteps[] = {{32, 24},    {64, 48},     {128, 96},    {256, 192},  {512, 384},
                           {1024, 768}, {2048, 1536}, {4096, 3072}, {8192, 6144}};

// Level and bare pass, ns per pixel each.
void print_over_size(const Conversion& c, const Options& options) {
    const Content noise = Content::named("noise");
    std::printf("%-32s", c.name.c_str());
    for (const Size size : kSteps) {
        Job job(c, size, noise);
        const auto pass = [&job](Stores stores) {
            bare_pass(job.frame().bytes.data(), job.source_bytes(), job.destination().data(),
                      job.destination().size(), stores);
        };
        const std::vector<Timing> timings = race({{"", [&] { job.run(); }},
                                                  {"", [&] { pass(Stores::kOrdinary); }},
                                                  {"", [&] { pass(Stores::kNonTemporal); }}},
                                                 options.effort);
        const auto ns = [&](size_t i) { return chosen(timings[i], options) / pixels(size); };
        std::printf(" %.3f/%.3f", ns(0), std::min(ns(1), ns(2)));
        std::fflush(stdout);
    }
    std::printf("\n");
}

// Pixels a nanosecond of `count` threads, each on a core, with a handle and
// buffers of its own, over about `seconds` of processor time each.
double throughput(const Conversion& c, Size size, const Content& content,
                  const std::vector<int>& cores, size_t count, double seconds) {
    std::barrier start(static_cast<std::ptrdiff_t>(count));
    std::vector<double> rates(count);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < count; ++t) {
        threads.emplace_back([&, t] {
            pin_to_core(cores[t]);
            Job job(c, size, content);
            job.run();
            start.arrive_and_wait();
            const double from = thread_time();
            double took = 0;
            long calls = 0;
            for (; took < seconds * 1e9; ++calls) {
                job.run();
                took = thread_time() - from;
            }
            rates[t] = static_cast<double>(calls) * pixels(size) / took;
        });
    }
    for (std::thread& thread : threads) thread.join();
    double sum = 0;
    for (const double rate : rates) sum += rate;
    return sum;
}

void print_over_threads(const Conversion& c, const Options& options) {
    const Content noise = Content::named("noise");
    const std::vector<int>& cores = options.cores;
    for (const Size size : {Size{640, 480}, Size{5120, 3840}}) {
        std::vector<std::vector<double>> rates(cores.size());
        for (int repetition = 0; repetition < 9; ++repetition) {
            for (size_t n = 1; n <= cores.size(); ++n) {
                rates[n - 1].push_back(
                    throughput(c, size, noise, cores, n, options.effort.seconds / 10));
            }
        }
        std::printf("%-32s %-10s", c.name.c_str(), to_string(size).c_str());
        double one = 0;
        for (std::vector<double>& r : rates) {
            std::sort(r.begin(), r.end());
            const double rate = options.minimum ? r.back() : r[r.size() / 2];
            if (one == 0) one = rate;
            std::printf(" %8.2f (%.2f)", rate, rate / one);
        }
        std::printf("\n");
        std::fflush(stdout);
    }
}

}  // namespace

void print_scaling(const Options& options) {
    std::printf("%s\n", describe_machine().c_str());
    for (const std::string& level : options.levels) {
        testing::force_level(level);
        std::printf("\nLevel %s, ns per pixel / the lower bare pass\n%-32s", level.c_str(), "");
        for (const Size size : kSteps) std::printf(" %11s", to_string(size).c_str());
        std::printf("\n");
        for (const char* name : kExamples) {
            if (std::regex_search(name, options.filter)) {
                print_over_size(conversion_named(name), options);
            }
        }
        std::printf("\nLevel %s, gigapixels a second (times one thread) of 1 to %zu threads\n",
                    level.c_str(), options.cores.size());
        for (const char* name : kExamples) {
            if (std::regex_search(name, options.filter)) {
                print_over_threads(conversion_named(name), options);
            }
        }
    }
}

}  // namespace imgcnv::bench
