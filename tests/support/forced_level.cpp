#include "tests/support/forced_level.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "levels/level.h"

namespace imgcnv {
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
        for (const Level& level : levels()) {
            const bool runs_here = level.runs_here();
            all.push_back({level.name, level.kernels, runs_here});
            const KernelTable* streaming = level.kernels->streaming;
            if (streaming != nullptr) {
                all.push_back({std::string(level.name) + "-streaming", streaming, runs_here});
            }
        }
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
