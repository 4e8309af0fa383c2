#include <cstdio>
#include <string_view>

#include "bare_pass.h"
#include "report.h"
#include "tests/support/forced_level.h"

namespace imgcnv::bench {
namespace {

// The level below the best one may take this much more than the target; the one
// for old machines has to beat the plain path by this much where it is slow.
constexpr double kAvx2Allowance = 1.3;
constexpr double kSse4Gain = 4;

struct Row {
    const Conversion& conversion;
    Size size;
    double limit, non_temporal;  // ns per pixel
    std::vector<double> levels;  // the same, in the order of the options
    double of(const Options& o, std::string_view name) const {
        for (size_t i = 0; i < o.levels.size(); ++i) {
            if (o.levels[i] == name) return levels[i];
        }
        return 0;
    }
};

Row measure(const Conversion& conversion, Size size, const Content& content,
            const Options& options) {
    Job job(conversion, size, content);
    const auto pass = [&job](Stores stores) {
        bare_pass(job.frame().bytes.data(), job.source_bytes(), job.destination().data(),
                  job.destination().size(), stores);
    };
    std::vector<Contestant> contestants = {
        {"limit", [&] { pass(Stores::kOrdinary); }},
        {"non-temporal", [&] { pass(Stores::kNonTemporal); }},
    };
    for (const std::string& level : options.levels) {
        contestants.push_back({level, [&job, &level] {
                                   testing::force_level(level);
                                   job.run();
                               }});
    }
    const std::vector<Timing> timings = race(contestants, options.effort);
    const auto ns = [&](size_t i) { return chosen(timings[i], options) / pixels(size); };
    Row row{conversion, size, ns(0), ns(1), {}};
    for (size_t i = 2; i < timings.size(); ++i) row.levels.push_back(ns(i));
    if (!job.succeeded()) std::printf("%s FAILED\n", conversion.name.c_str());
    return row;
}

// "ok", or which level misses what.
std::string verdict(const Row& row, const Options& options) {
    const bool judged = pixels(row.size) > 64 * 64 && pixels(row.size) < 5120 * 3840;
    const double target = row.conversion.limit_target;
    if (!judged || target == 0 || options.levels.empty()) return "";
    std::string misses;
    const double best = row.levels.back() / row.limit;
    const bool best_is_avx512 = options.levels.back() == "avx512";
    if (best > target * (best_is_avx512 ? 1 : kAvx2Allowance))
        misses += " " + options.levels.back();
    const double avx2 = row.of(options, "avx2");
    if (best_is_avx512 && avx2 > row.limit * target * kAvx2Allowance) misses += " avx2";
    const double plain = row.of(options, "plain"), sse4 = row.of(options, "sse4");
    if ((is_bayer(*row.conversion.source) || is_yuv(*row.conversion.source)) && plain > 0 &&
        sse4 * kSse4Gain > plain) {
        misses += " sse4";
    }
    return misses.empty() ? "ok" : "MISS" + misses;
}

}  // namespace

void print_table(const Options& options) {
    const Content content = Content::named(options.content);
    std::printf(
        "%s\n%s; ns per pixel, %s; ratio = last level / limit (5120x3840: / the lower limit)\n",
        describe_machine().c_str(), content.description().c_str(),
        options.minimum ? "minima" : "medians");
    std::printf("%-32s %-10s %7s %7s", "conversion", "size", "limit", "NT");
    for (const std::string& level : options.levels) std::printf(" %7s", level.c_str());
    std::printf(" %6s %6s\n", "ratio", "target");

    int judged = 0, met = 0;
    for (const Size size : options.sizes) {
        for (const Conversion& conversion : all_conversions()) {
            if (!options.all && conversion.limit_target == 0) continue;
            const std::string name = conversion.name + " " + to_string(size);
            if (!std::regex_search(name, options.filter)) continue;
            const Row row = measure(conversion, size, content, options);
            std::printf("%-32s %-10s %7.4f %7.4f", conversion.name.c_str(), to_string(size).c_str(),
                        row.limit, row.non_temporal);
            for (const double ns : row.levels) std::printf(" %7.4f", ns);
            const bool large = pixels(size) >= 5120 * 3840;
            const double limit = large ? std::min(row.limit, row.non_temporal) : row.limit;
            if (!row.levels.empty()) std::printf(" %6.2f", row.levels.back() / limit);
            const std::string mark = verdict(row, options);
            if (!mark.empty()) {
                std::printf(" %6.2f %s", conversion.limit_target, mark.c_str());
                ++judged;
                met += mark == "ok";
            }
            std::printf("\n");
            std::fflush(stdout);
        }
    }
    if (judged > 0) std::printf("%d of %d rows meet all targets\n", met, judged);
}

}  // namespace imgcnv::bench
