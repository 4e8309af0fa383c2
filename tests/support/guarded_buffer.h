// Memory between two unmapped pages. A buffer is placed against one of them, so
// that a byte read or written too far on that side is a crash and not a matter
// of luck; on the other side lies a pattern that intact() compares.
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

enum class Guard { kBefore, kAfter };  // where the unmapped page is
inline constexpr Guard kGuards[] = {Guard::kBefore, Guard::kAfter};

class GuardedRegion {
  public:
    explicit GuardedRegion(size_t capacity) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        room_ = (capacity + 2 * kRim + page - 1) / page * page;
        mapped_ = room_ + 2 * page;
        void* map = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) throw std::bad_alloc();
        map_ = static_cast<uint8_t*>(map);
        start_ = map_ + page;
        if (mprotect(start_, room_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    }
    GuardedRegion(const GuardedRegion&) = delete;
    GuardedRegion& operator=(const GuardedRegion&) = delete;
    ~GuardedRegion() { munmap(map_, mapped_); }

    // A buffer of `size` bytes of `fill`. The one placed before is gone.
    std::span<uint8_t> place(size_t size, Guard guard, uint8_t fill) {
        if (size > room_ - kRim) throw std::bad_alloc();
        guard_ = guard;
        buffer_ = {guard == Guard::kBefore ? start_ : start_ + room_ - size, size};
        std::memset(rim(), kPattern, kRim);
        if (size > 0) std::memset(buffer_.data(), fill, size);
        return buffer_;
    }
    std::span<uint8_t> place(std::span<const uint8_t> content, Guard guard) {
        place(content.size(), guard, 0);
        std::copy(content.begin(), content.end(), buffer_.begin());
        return buffer_;
    }

    // Nothing was written beyond the side of the buffer that is not guarded.
    bool intact() const {
        return std::all_of(rim(), rim() + kRim, [](uint8_t b) { return b == kPattern; });
    }

  private:
    static constexpr size_t kRim = 256;
    static constexpr uint8_t kPattern = 0xC7;
    uint8_t* rim() const {
        return guard_ == Guard::kBefore ? buffer_.data() + buffer_.size() : buffer_.data() - kRim;
    }

    uint8_t *map_, *start_;
    size_t room_, mapped_;
    std::span<uint8_t> buffer_;
    Guard guard_ = Guard::kBefore;
};

}  // namespace imgcnv::testing
