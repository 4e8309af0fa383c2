// A buffer whose first or last byte touches an unmapped page, so that one byte
// read or written too far is a crash and not a matter of luck. The mapped bytes
// on its other side hold a pattern that intact() compares.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>

namespace imgcnv::testing {

enum class Guard { kBefore, kAfter };
inline constexpr Guard kGuards[] = {Guard::kBefore, Guard::kAfter};

class GuardedBuffer {
  public:
    GuardedBuffer(size_t size, Guard guard, uint8_t fill = 0) : size_(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        room_ = (size + page) / page * page;
        mapped_ = room_ + 2 * page;
        void* map = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) throw std::bad_alloc();
        map_ = static_cast<uint8_t*>(map);
        room_start_ = map_ + page;
        if (mprotect(room_start_, room_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
        std::memset(room_start_, kPattern, room_);
        data_ = guard == Guard::kBefore ? room_start_ : room_start_ + room_ - size;
        if (size > 0) std::memset(data_, fill, size);
    }
    GuardedBuffer(std::span<const uint8_t> content, Guard guard)
        : GuardedBuffer(content.size(), guard) {
        std::copy(content.begin(), content.end(), data_);
        mprotect(room_start_, room_, PROT_READ);  // a source: writing to it is a fault too
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    ~GuardedBuffer() { munmap(map_, mapped_); }

    uint8_t* data() { return data_; }
    std::span<uint8_t> bytes() { return {data_, size_}; }

    // Nothing was written between the buffer and the far end of its pages.
    bool intact() const {
        auto untouched = [](uint8_t b) { return b == kPattern; };
        return std::all_of(room_start_, data_, untouched) &&
               std::all_of(data_ + size_, room_start_ + room_, untouched);
    }

  private:
    static constexpr uint8_t kPattern = 0xC7;
    uint8_t *map_, *room_start_, *data_;
    size_t size_, room_, mapped_;
};

}  // namespace imgcnv::testing
