#include "support/allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

// The C library's own, under the names it keeps for this purpose.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* __libc_memalign(size_t, size_t);
extern "C" void __libc_free(void*);

namespace imgcnv::testing {
namespace {

constexpr int kMost = 64;
Allocation recorded[kMost];
int count = 0;
int failing = 0;
bool recording = false;

template <typename Take>
void* record(size_t size, bool by_new, Take take) {
    if (!recording || count == kMost) return take();
    Allocation& entry = recorded[count++];
    entry = {nullptr, size, false, by_new};
    if (count == failing) {
        errno = ENOMEM;
        return nullptr;
    }
    return entry.memory = take();
}

void forget(void* memory) {
    if (!recording || memory == nullptr) return;
    for (int i = count - 1; i >= 0; --i) {
        if (recorded[i].memory != memory || recorded[i].freed) continue;
        recorded[i].freed = true;
        return;
    }
}

}  // namespace

AllocationRecorder::AllocationRecorder(int fail) {
    count = 0;
    failing = fail;
    recording = true;
}
AllocationRecorder::~AllocationRecorder() { stop(); }
void AllocationRecorder::stop() { recording = false; }
std::span<const Allocation> AllocationRecorder::all() const {
    return {recorded, static_cast<size_t>(count)};
}
void AllocationRecorder::free_rest() {
    stop();
    for (const Allocation& a : all()) {
        if (!a.freed) __libc_free(a.memory);
    }
}

}  // namespace imgcnv::testing

using imgcnv::testing::forget;
using imgcnv::testing::record;

extern "C" {
void* malloc(size_t size) {
    return record(size, false, [=] { return __libc_malloc(size); });
}
void* calloc(size_t n, size_t size) {
    return record(n * size, false, [=] { return __libc_calloc(n, size); });
}
void* realloc(void* old, size_t size) {
    forget(old);
    return record(size, false, [=] { return __libc_realloc(old, size); });
}
void* aligned_alloc(size_t alignment, size_t size) {
    return record(size, false, [=] { return __libc_memalign(alignment, size); });
}
int posix_memalign(void** memory, size_t alignment, size_t size) {
    *memory = record(size, false, [=] { return __libc_memalign(alignment, size); });
    return *memory == nullptr ? ENOMEM : 0;
}
void free(void* memory) {
    forget(memory);
    __libc_free(memory);
}
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return record(size, true, [=] { return __libc_malloc(size); });
}
