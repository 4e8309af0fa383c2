#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// The bytes of a file, in memory or read in pieces, so that long files take no more memory than
/// short ones.
class ByteSource {
  public:
    explicit ByteSource(const imgcnv_guess_question& question)
        : data_(static_cast<const std::uint8_t*>(question.data)),
          size_(question.bytes),
          read_(question.read),
          context_(question.context) {}

    std::int64_t size() const { return size_; }
    bool has_failed() const { return has_failed_; }

    /// `count` bytes from `offset` on, fewer at the end of the file. They stay until the next call
    /// with the same `room`.
    std::span<const std::uint8_t> bytes(std::int64_t offset, std::int64_t count,
                                        std::vector<std::uint8_t>& room);

  private:
    const std::uint8_t* data_;
    std::int64_t size_;
    imgcnv_read read_;
    void* context_;
    bool has_failed_ = false;
};

}  // namespace frames
