// Reads a fuzzer's bytes as numbers. Past their end everything is 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <type_traits>

namespace imgcnv::fuzzing {

class Input {
  public:
    Input(const uint8_t* data, size_t size) : left_(data, size) {}

    template <class T>
    T take() {
        T value{};
        const size_t size = left_.size() < sizeof value ? left_.size() : sizeof value;
        if (size != 0) std::memcpy(&value, left_.data(), size);
        left_ = left_.subspan(size);
        return value;
    }

    // One of `count` things.
    size_t pick(size_t count) { return take<uint8_t>() % count; }
    int between(int low, int high) { return low + take<uint16_t>() % (high - low + 1); }

    template <class T, size_t kCount>
    const T& one_of(const T (&things)[kCount]) {
        return things[pick(kCount)];
    }

    std::span<const uint8_t> rest() const { return left_; }

    // Fills `bytes` with the rest, and when that is too short goes on with noise made from it.
    void fill(std::span<uint8_t> bytes) const {
        uint32_t noise = 2463534242u;
        for (size_t i = 0; i < bytes.size(); ++i) {
            if (i < left_.size()) {
                bytes[i] = left_[i];
                noise = (noise ^ left_[i]) * 16777619u | 1;
            } else {
                noise ^= noise << 13;
                noise ^= noise >> 17;
                noise ^= noise << 5;
                bytes[i] = static_cast<uint8_t>(noise >> 8);
            }
        }
    }

  private:
    std::span<const uint8_t> left_;
};

// Ends the program when a promise is broken, so that the fuzzer keeps the input.
#define REQUIRE(promise, ...)                                                          \
    do {                                                                               \
        if (!(promise)) {                                                              \
            std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #promise); \
            __VA_OPT__(std::fprintf(stderr, __VA_ARGS__);)                             \
            std::fputc('\n', stderr);                                                  \
            std::abort();                                                              \
        }                                                                              \
    } while (false)

}  // namespace imgcnv::fuzzing
