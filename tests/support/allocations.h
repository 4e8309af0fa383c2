// Counts and fails the allocations of a piece of code. Linking allocations.cpp
// puts the program's malloc and operator new in place of the C library's, for
// the shared library too.
#pragma once

#include <cstddef>
#include <span>

namespace imgcnv::testing {

struct Allocation {
    void* memory;  // null: it was failed
    size_t size;
    bool freed;
    bool by_new;  // the non-throwing operator new
};

// From here to the end of the block every allocation of this program is
// recorded, and the one numbered `fail` (from 1 on) gets no memory.
class AllocationRecorder {
  public:
    explicit AllocationRecorder(int fail = 0);
    ~AllocationRecorder();
    AllocationRecorder(const AllocationRecorder&) = delete;
    AllocationRecorder& operator=(const AllocationRecorder&) = delete;

    void stop();
    std::span<const Allocation> all() const;
    // Gives back what the code under test kept.
    void free_rest();
};

}  // namespace imgcnv::testing
