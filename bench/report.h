// The reports of imgcnv_bench, other than its list of single benchmarks.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "frames.h"
#include "measure.h"

namespace imgcnv::bench {

struct Options {
    std::regex filter{""};
    std::vector<std::string> levels;  // those to measure
    std::string content = "noise";
    Effort effort;
    bool all = false;      // also conversions without a target
    bool minimum = false;  // instead of the median
    std::vector<Size> sizes;
    std::vector<int> cores;  // that threads may be put on
};

inline double chosen(const Timing& t, const Options& o) { return o.minimum ? t.minimum : t.median; }

// One line a conversion and size: the bare pass, every level, the ratio of the
// best level to the bare pass, its target and whether it is met.
void print_table(const Options& options);

// Frames that are harder than they look against easy ones, the cost of a call,
// and of the one-shot functions.
void print_worst_cases(const Options& options);

// Over the size of the frame from cache to memory, and over threads.
void print_scaling(const Options& options);

}  // namespace imgcnv::bench
