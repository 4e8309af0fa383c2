// imgcnv_bench_peers: a Markdown table of our conversions against other libraries'.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <regex>

#include "bare_pass.h"
#include "frames.h"
#include "measure.h"
#include "peer.h"
#include "tests/support/forced_level.h"

using namespace imgcnv;
using namespace imgcnv::bench;

namespace {

constexpr const char* kUsage =
    "usage: imgcnv_bench_peers [--filter REGEX] [--size WxH]... [--seconds NUMBER] [--minimum]\n"
    "                          [--content noise|photo|PNG]\n"
    "  --filter REGEX    of \"CONVERSION WIDTHxHEIGHT\"\n"
    "  --seconds NUMBER  time a line takes (1)\n";

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "imgcnv_bench_peers: %s\n%s", message.c_str(), kUsage);
    std::exit(2);
}

std::vector<Peer> all_peers() {
    std::vector<Peer> peers;
#ifdef HAVE_OPENCV
    add_opencv(peers);
#endif
#ifdef HAVE_LIBYUV
    add_libyuv(peers);
#endif
#ifdef HAVE_LIBYUV_OPENCV
    add_libyuv_with_opencv(peers);
#endif
#ifdef HAVE_SWSCALE
    add_swscale(peers);
#endif
#ifdef HAVE_LIBDC1394
    add_libdc1394(peers);
#endif
    return peers;
}

std::vector<const char*> libraries(const std::vector<Peer>& peers) {
    std::vector<const char*> names;
    for (const Peer& p : peers) {
        if (std::none_of(names.begin(), names.end(),
                         [&](const char* n) { return std::strcmp(n, p.library) == 0; })) {
            names.push_back(p.library);
        }
    }
    return names;
}

// Mean difference of the colour bytes: tells that a peer does the same job.
double mean_difference(const Conversion& c, const uint8_t* a, const uint8_t* b, size_t count) {
    const bool has_alpha = testing::bytes_per_pixel(c.destination) == 4;
    double sum = 0;
    for (size_t i = 0; i < count; ++i) {
        if (!has_alpha || i % 4 != 3) sum += std::abs(a[i] - b[i]);
    }
    return sum / (has_alpha ? static_cast<double>(count) * 3 / 4 : static_cast<double>(count));
}

// The strongest level of this CPU, and the one below it unless that is plain.
struct BestLevels {
    std::string_view best, second;

    BestLevels() {
        for (const std::string_view level : testing::level_names()) {
            if (!testing::level_available(level)) continue;
            second = best == "plain" ? std::string_view() : best;
            best = level;
        }
    }
};

struct Options {
    std::regex filter{""};
    std::vector<Size> sizes;
    Effort effort{1.0, 7, 201};
    bool minimum = false;
    std::string content = "photo";
};

// One line; returns whether the target ratio to the fastest peer is met, or
// nothing when there is none.
void print_line(const Conversion& c, Size size, const std::vector<Peer>& peers,
                const Content& content, const Options& options, int& judged, int& met,
                std::map<const Peer*, double>& differences) {
    Job job(c, size, content);
    const PeerView view{job.frame().bytes.data(), job.destination().data(), size.width,
                        size.height};
    const auto [best, second] = BestLevels();
    const auto pass = [&job](Stores stores) {
        bare_pass(job.frame().bytes.data(), job.source_bytes(), job.destination().data(),
                  job.destination().size(), stores);
    };

    testing::force_level(best);
    job.run();
    const std::vector<uint8_t> ours(view.dst, view.dst + job.destination().size());

    std::vector<Contestant> contestants = {
        {"limit", [&] { pass(Stores::kOrdinary); }},
        {"NT", [&] { pass(Stores::kNonTemporal); }},
        {"best",
         [&, level = best] {
             testing::force_level(level);
             job.run();
         }},
    };
    if (!second.empty()) {
        contestants.push_back({"second", [&, level = second] {
                                   testing::force_level(level);
                                   job.run();
                               }});
    }
    const size_t first_peer = contestants.size();
    std::vector<const Peer*> entered;
    for (const Peer& p : peers) {
        if (p.conversion != c.name) continue;
        std::function<void()> run = p.prepare(view);
        if (run == nullptr) continue;
        std::memset(view.dst, 0, job.destination().size());
        run();
        differences[&p] = mean_difference(c, ours.data(), view.dst, ours.size());
        entered.push_back(&p);
        contestants.push_back({p.library, std::move(run)});
    }

    const std::vector<Timing> timings = race(contestants, options.effort);
    const auto ns = [&](size_t i) {
        return (options.minimum ? timings[i].minimum : timings[i].median) / pixels(size);
    };
    const double limit = ns(0), ours_ns = ns(2);
    std::printf("| %s | %s | %.3f (%.3f) | **%.3f** | ", c.name.c_str(), to_string(size).c_str(),
                limit, ns(1), ours_ns);
    second.empty() ? std::printf("- |") : std::printf("%.3f |", ns(3));
    double fastest = INFINITY;
    for (const char* library : libraries(peers)) {
        const auto found = std::find_if(entered.begin(), entered.end(), [&](const Peer* p) {
            return std::strcmp(p->library, library) == 0;
        });
        if (found == entered.end()) {
            std::printf(" |");
            continue;
        }
        const double theirs = ns(first_peer + (found - entered.begin()));
        fastest = std::min(fastest, theirs);
        std::printf(" %.3f |", theirs);
    }
    std::printf(" %.2f |", ours_ns / limit);
    const double target = pixels(size) >= 5120 * 3840 ? c.large_peer_target : c.peer_target;
    if (std::isfinite(fastest)) {
        const double ratio = ours_ns / fastest;
        std::printf(" %.2f | %.2f%s |\n", ratio, target, ratio <= target ? "" : " missed");
        ++judged;
        met += ratio <= target;
    } else {
        std::printf(" - | |\n");
    }
    std::fflush(stdout);
}

void print_tables(const Options& options) {
    const std::vector<Peer> peers = all_peers();
    if (peers.empty()) fail("built without any peer: install their -dev packages and build again");
    const Content content = Content::named(options.content);
    std::printf("%s\n\nns per pixel, %s; %s; one thread on one core.\n\n",
                describe_machine().c_str(), options.minimum ? "minima" : "medians",
                content.description().c_str());
    std::printf("| conversion | size | bare pass (NT) | imgcnv | %s |",
                std::string(BestLevels().second).c_str());
    for (const char* library : libraries(peers)) std::printf(" %s |", library);
    std::printf(" / bare pass | / fastest peer | target |\n|---|---|---|---|---|");
    for (size_t i = 0; i < libraries(peers).size(); ++i) std::printf("---|");
    std::printf("---|---|---|\n");

    int judged = 0, met = 0;
    std::map<const Peer*, double> differences;
    for (const Size size : options.sizes) {
        for (const Conversion& c : all_conversions()) {
            if (c.limit_target == 0) continue;
            if (!std::regex_search(c.name + " " + to_string(size), options.filter)) continue;
            print_line(c, size, peers, content, options, judged, met, differences);
        }
    }
    std::printf("\n%d of %d lines with a peer meet the target.\n\n", met, judged);

    std::printf("| conversion | peer | mean difference to ours | where the job differs |\n");
    std::printf("|---|---|---|---|\n");
    for (const Peer& p : peers) {
        const auto found = differences.find(&p);
        if (found == differences.end()) continue;
        std::printf("| %s | %s | %.2f | %s |\n", p.conversion, p.library, found->second, p.remark);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const auto value = [&] {
            if (i + 1 == argc) fail(std::string(arg) + " needs a value");
            return argv[++i];
        };
        if (arg == "--filter") {
            const char* pattern = value();
            try {
                options.filter = std::regex(pattern);
            } catch (const std::regex_error&) {
                fail(std::string("not a regular expression: ") + pattern);
            }
        } else if (arg == "--size") {
            Size size;
            const char* text = value();
            if (std::sscanf(text, "%dx%d", &size.width, &size.height) != 2 || size.width < 1 ||
                size.height < 1) {
                fail(std::string("expected WIDTHxHEIGHT, not ") + text);
            }
            options.sizes.push_back(size);
        } else if (arg == "--seconds") {
            options.effort.seconds = std::atof(value());
            if (!(options.effort.seconds > 0)) fail("--seconds needs a number above 0");
        } else if (arg == "--minimum") {
            options.minimum = true;
        } else if (arg == "--content") {
            options.content = value();
        } else if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            fail("unknown argument " + std::string(arg));
        }
    }
    if (options.sizes.empty()) options.sizes = {{640, 480}, {1920, 1200}, {5120, 3840}};
    const std::vector<int> cores = usable_cores();
    if (cores.empty() || !pin_to_core(cores.back())) {
        std::fprintf(stderr, "imgcnv_bench_peers: cannot stay on one core\n");
    }
    print_tables(options);
}
