#include "tests/support/forced_level.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "levels/level.h"
#include "simd/cpu.h"

namespace imgcnv {

// The AVX-512 level for CPUs without it, of programs that link it: tests/levels/emulated_avx512.
extern const KernelTable kEmulatedAvx512Kernels __attribute__((weak));

namespace {

struct KernelSet {
    std::string name;
    const KernelTable* kernels;
    bool runs_here;
};

// Every level, each followed by its streaming kernels.
const std::vector<KernelSet>& kernel_sets() {
    static const std::vector<KernelSet> sets = [] {
        std::vector<KernelSet> all;
        const auto add = [&](std::string name, const KernelTable* kernels, bool runs_here) {
            all.push_back({name, kernels, runs_here});
            if (kernels->streaming != nullptr)
                all.push_back({name + "-streaming", kernels->streaming, runs_here});
        };
        for (const Level& level : levels()) add(level.name, level.kernels, level.runs_here());
#if defined(__x86_64__)
        const KernelTable* emulated = &kEmulatedAvx512Kernels;
        if (emulated != nullptr) add("avx512-emulated", emulated, cpu_has_avx2());
#endif
        return all;
    }();
    return sets;
}

const KernelSet* find(std::string_view name) {
    for (const KernelSet& set : kernel_sets()) {
        if (set.name == name) return &set;
    }
    return nullptr;
}

std::atomic<const KernelTable*> forced = nullptr;

}  // namespace

const KernelTable& kernels_for_this_cpu() {
    if (const KernelTable* table = forced.load(std::memory_order_relaxed)) return *table;
    const KernelTable* best = nullptr;
    for (const Level& level : levels()) {
        if (level.runs_here()) best = level.kernels;
    }
    return *best;
}

namespace testing {

std::span<const std::string_view> level_names() {
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> all;
        for (const Level& level : levels()) all.push_back(level.name);
        return all;
    }();
    return names;
}

std::span<const std::string_view> kernel_set_names() {
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> all;
        for (const KernelSet& set : kernel_sets()) all.push_back(set.name);
        return all;
    }();
    return names;
}

bool level_available(std::string_view name) {
    const KernelSet* set = find(name);
    return set != nullptr && set->runs_here;
}

void force_level(std::string_view name) {
    if (!level_available(name)) {
        std::fprintf(stderr, "level %.*s is not available on this CPU\n",
                     static_cast<int>(name.size()), name.data());
        std::abort();
    }
    forced = find(name)->kernels;
}

}  // namespace testing
}  // namespace imgcnv
