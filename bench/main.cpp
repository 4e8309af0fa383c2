// imgcnv_bench: speed of every conversion, through the exported functions.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bare_pass.h"
#include "report.h"
#include "tests/support/forced_level.h"

using namespace imgcnv;
using namespace imgcnv::bench;

namespace {

constexpr const char* kUsage =
    "usage: imgcnv_bench [--table | --worst | --scaling] [OPTION]... [--benchmark_...]\n"
    "  --table            one line a conversion and size, with ratios and targets\n"
    "  --worst            hard frames against easy ones, cost of a call\n"
    "  --scaling          over the size of the frame, and over threads\n"
    "                     (none of these: single benchmarks, for Google Benchmark's own options)\n"
    "  --filter REGEX     of \"CONVERSION WIDTHxHEIGHT\", e.g. 'Bayer.*bilinear 640x'\n"
    "  --level NAME       only this level; may be given again\n"
    "  --size WxH         only this size, any size; may be given again\n"
    "  --all              also conversions without a target\n"
    "  --content NAME     noise (default), photo, or a PNG file\n"
    "  --seconds NUMBER   time a line of the table takes (0.4)\n"
    "  --minimum          minima instead of medians\n";

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "imgcnv_bench: %s\n%s", message.c_str(), kUsage);
    std::exit(2);
}

void register_benchmarks(const Options& options) {
    static const Content content = Content::named(options.content);
    const auto add = [](const std::string& name, const Conversion& c, Size size, auto body) {
        benchmark::RegisterBenchmark(name.c_str(), [&c, size, body](benchmark::State& state) {
            Job job(c, size, content);
            for (auto _ : state) {
                body(job);
                benchmark::ClobberMemory();
            }
            if (!job.succeeded()) state.SkipWithError("the conversion failed");
            const double calls = static_cast<double>(state.iterations());
            state.SetBytesProcessed(static_cast<int64_t>(
                calls * static_cast<double>(job.source_bytes() + job.destination().size())));
            state.counters["time_per_pixel"] =
                benchmark::Counter(calls * pixels(size) * 1e-9,
                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
        });
    };
    const auto pass = [](Stores stores) {
        return [stores](Job& job) {
            bare_pass(job.frame().bytes.data(), job.source_bytes(), job.destination().data(),
                      job.destination().size(), stores);
        };
    };
    for (const Size size : options.sizes) {
        for (const Conversion& c : all_conversions()) {
            if (!options.all && c.limit_target == 0) continue;
            if (!std::regex_search(c.name + " " + to_string(size), options.filter)) continue;
            const std::string prefix = c.name + "/" + to_string(size) + "/";
            add(prefix + "limit", c, size, pass(Stores::kOrdinary));
            add(prefix + "limit_nt", c, size, pass(Stores::kNonTemporal));
            for (const std::string& level : options.levels) {
                add(prefix + level, c, size, [level](Job& job) {
                    testing::force_level(level);
                    job.run();
                });
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    enum { kSingle, kTable, kWorst, kScaling } report = kSingle;
    Options options;
    std::vector<char*> rest = {argv[0]};
    // Repeated and interleaved unless told otherwise.
    for (const char* flag :
         {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=9",
          "--benchmark_min_time=0.02", "--benchmark_report_aggregates_only=true"}) {
        rest.push_back(const_cast<char*>(flag));
    }
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const auto value = [&] {
            if (i + 1 == argc) fail(std::string(arg) + " needs a value");
            return argv[++i];
        };
        if (arg == "--table") {
            report = kTable;
        } else if (arg == "--worst") {
            report = kWorst;
        } else if (arg == "--scaling") {
            report = kScaling;
        } else if (arg == "--filter") {
            const char* pattern = value();
            try {
                options.filter = std::regex(pattern);
            } catch (const std::regex_error&) {
                fail(std::string("not a regular expression: ") + pattern);
            }
        } else if (arg == "--level") {
            const std::string level = value();
            if (!testing::level_available(level)) fail("no such level on this CPU: " + level);
            options.levels.push_back(level);
        } else if (arg == "--size") {
            Size size;
            const char* text = value();
            if (std::sscanf(text, "%dx%d", &size.width, &size.height) != 2 || size.width < 1 ||
                size.height < 1) {
                fail(std::string("expected WIDTHxHEIGHT, not ") + text);
            }
            options.sizes.push_back(size);
        } else if (arg == "--all") {
            options.all = true;
        } else if (arg == "--content") {
            options.content = value();
        } else if (arg == "--seconds") {
            options.effort.seconds = std::atof(value());
            if (!(options.effort.seconds > 0)) fail("--seconds needs a number above 0");
        } else if (arg == "--minimum") {
            options.minimum = true;
        } else if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            rest.push_back(argv[i]);
        }
    }
    if (options.levels.empty()) {
        for (const std::string_view level : testing::level_names()) {
            if (testing::level_available(level)) options.levels.emplace_back(level);
        }
    }
    if (options.sizes.empty()) options.sizes.assign(std::begin(kSizes), std::end(kSizes));

    options.cores = usable_cores();
    // The last one: the first gets most of a system's interrupts.
    if (options.cores.empty() || !pin_to_core(options.cores.back())) {
        std::fprintf(stderr, "imgcnv_bench: cannot stay on one core\n");
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    if (count > 1) fail(std::string("unknown argument ") + rest[1]);
    switch (report) {
        case kTable:
            print_table(options);
            break;
        case kWorst:
            print_worst_cases(options);
            break;
        case kScaling:
            print_scaling(options);
            break;
        case kSingle:
            register_benchmarks(options);
            benchmark::RunSpecifiedBenchmarks();
    }
}
