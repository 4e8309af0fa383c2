#include "tests/support/forced_level.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "simd/cpu_level.h"

namespace imgcnv {
namespace {

struct Level {
    std::string_view name;
    const KernelTable* table;
    bool (*runs_here)();
};

const Level kLevels[] = {
    {"plain", &kPlainKernels, [] { return true; }},
    {"sse4", &kSse4Kernels, [] { return __builtin_cpu_supports("sse4.1") != 0; }},
    {"avx2", &kAvx2Kernels, [] { return __builtin_cpu_supports("avx2") != 0; }},
    {"avx512", &kAvx512Kernels,
     [] {
         return __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw") &&
                __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
     }},
};

std::atomic<const KernelTable*> forced = nullptr;

constexpr std::string_view kLarge = "-large";

// Null: unknown, or the level has none.
const KernelTable* find(std::string_view name, bool& runs_here) {
    const bool large = name.ends_with(kLarge);
    if (large) name.remove_suffix(kLarge.size());
    for (const Level& level : kLevels) {
        if (level.name != name) continue;
        runs_here = level.runs_here();
        return large ? level.table->past_caches : level.table;
    }
    return nullptr;
}

}  // namespace

const KernelTable& kernels_for_this_cpu() {
    if (const KernelTable* table = forced.load(std::memory_order_relaxed)) return *table;
    const KernelTable* best = nullptr;
    for (const Level& level : kLevels) {
        if (level.runs_here()) best = level.table;
    }
    return *best;
}

namespace testing {

std::span<const std::string_view> level_names() {
    static const std::string_view names[] = {"plain", "sse4", "avx2", "avx512"};
    return names;
}

std::span<const std::string_view> kernel_set_names() {
    static const std::string_view names[] = {"plain",      "sse4",   "sse4-large",  "avx2",
                                             "avx2-large", "avx512", "avx512-large"};
    return names;
}

bool level_available(std::string_view name) {
    bool runs_here = false;
    return find(name, runs_here) != nullptr && runs_here;
}

void force_level(std::string_view name) {
    if (!level_available(name)) {
        std::fprintf(stderr, "level %.*s is not available on this CPU\n",
                     static_cast<int>(name.size()), name.data());
        std::abort();
    }
    bool runs_here;
    forced = find(name, runs_here);
}

}  // namespace testing
}  // namespace imgcnv
