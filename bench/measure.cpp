#include "measure.h"

#include <sched.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <numeric>
#include <random>

#include "bare_pass.h"

namespace imgcnv::bench {
namespace {

// ns; the clock itself takes under 1 % of it.
constexpr double kStretch = 50e3;

double nanoseconds_of(const std::function<void()>& run, int calls) {
    const double start = thread_time();
    for (int i = 0; i < calls; ++i) run();
    return thread_time() - start;
}

// How often to run it for a stretch.
int calls_a_stretch(const Contestant& contestant) {
    contestant.run();
    for (int calls = 1;; calls *= 4) {
        const double took = nanoseconds_of(contestant.run, calls);
        if (took > kStretch / 8) return std::max(1, static_cast<int>(calls * kStretch / took));
    }
}

// Some libraries leave the upper halves of the vector registers in use, which
// slows down the SSE code of whoever comes next, here by up to 3 times.
void leave_vector_registers_clean() {
    if (__builtin_cpu_supports("avx")) asm volatile("vzeroupper");
}

std::string line_with(const char* file, const std::string& key) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(key)) return line.substr(line.find(':') + 2);
    }
    return "?";
}

}  // namespace

double thread_time() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

std::vector<Timing> race(const std::vector<Contestant>& contestants, const Effort& effort) {
    std::vector<int> calls;
    double round = 1;
    for (const Contestant& c : contestants) {
        leave_vector_registers_clean();
        calls.push_back(calls_a_stretch(c));
        round += nanoseconds_of(c.run, calls.back()) * (calls.back() + 1.0) / calls.back();
    }
    const int rounds = std::clamp(static_cast<int>(effort.seconds * 1e9 / round),
                                  effort.least_rounds, effort.most_rounds);

    std::vector<std::vector<double>> times(contestants.size());
    std::vector<size_t> order(contestants.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(1);
    for (int i = 0; i < rounds; ++i) {
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t c : order) {
            leave_vector_registers_clean();
            contestants[c].run();
            times[c].push_back(nanoseconds_of(contestants[c].run, calls[c]) / calls[c]);
        }
    }

    std::vector<Timing> result;
    for (std::vector<double>& t : times) {
        std::sort(t.begin(), t.end());
        result.push_back({t[t.size() / 2], t[0]});
    }
    return result;
}

std::vector<int> usable_cores() {
    std::vector<int> cores;
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return cores;
    for (int core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &allowed)) cores.push_back(core);
    }
    return cores;
}

bool pin_to_core(int core) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    return sched_setaffinity(0, sizeof one, &one) == 0;
}

std::string describe_machine() {
    char date[32];
    const std::time_t now = std::time(nullptr);
    std::strftime(date, sizeof date, "%F %R UTC", std::gmtime(&now));
    const char* file = "/proc/cpuinfo";
    return line_with(file, "model name") + ", family " + line_with(file, "cpu family") + " model " +
           line_with(file, "model\t") + ", " + line_with(file, "cache size") +
           " L2, bare pass of " + std::to_string(bare_pass_width()) + "-byte vectors; " + date +
           "; compiler " + __VERSION__;
}

}  // namespace imgcnv::bench
