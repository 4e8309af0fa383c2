// Timing of things against each other: in turns and in random order, so that
// whatever else the machine does strikes all of them alike.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace imgcnv::bench {

// Nanoseconds this thread has had a core: on a busy machine it loses it at times.
double thread_time();

struct Contestant {
    std::string name;
    std::function<void()> run;
};

// Nanoseconds of processor time a call.
struct Timing {
    double median = 0;
    double minimum = 0;
};

struct Effort {
    double seconds = 0.4;  // for all contestants together, about
    int least_rounds = 7;
    int most_rounds = 201;
};

// In every round each contestant runs once untimed, which brings its bytes to
// the caches as it leaves them, then for some 50 microseconds at a stretch.
std::vector<Timing> race(const std::vector<Contestant>& contestants, const Effort& effort);

// The cores this process may run on.
std::vector<int> usable_cores();

// Keeps this thread on the core; false when that fails.
bool pin_to_core(int core);

// Model, date, compiler and the like: what a reader needs to judge the numbers.
std::string describe_machine();

}  // namespace imgcnv::bench
