#pragma once

#include "convert/convert_options.h"
#include "io/input_file.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tool {

struct FrameJob {
    std::size_t input = 0;      ///< index
    std::int64_t frame = 0;     ///< number in its dump
    std::int64_t sequence = 0;  ///< number of all frames handed out
    FrameShape shape;
    std::span<std::uint8_t> bytes;  ///< in the caller's buffer
    std::string fault;              ///< why the bytes are not there; empty: they are
};

/// Hands out the frames of all inputs, in order, to any number of threads. One file is open at a
/// time, plus those still being read from.
class FrameFeed {
  public:
    explicit FrameFeed(const ConvertOptions& options) : options_(options) {}

    /// Reads the next frame into the buffer; false when there is none left. Throws for an input
    /// that cannot be used or ends too early: the call after that goes on with the next one.
    bool next(FrameJob& job, std::vector<std::uint8_t>& buffer);

    /// Frames there will be when no input is at fault; absent when a stream does not tell.
    std::optional<std::int64_t> expected_frames() const;

  private:
    struct Dump;
    bool take_place(FrameJob& job);
    void open_next();
    void count_frames(Dump& dump) const;
    bool read_stream(FrameJob& job, std::vector<std::uint8_t>& buffer);

    const ConvertOptions& options_;
    std::mutex lock_;
    std::size_t next_input_ = 0;
    std::int64_t handed_out_ = 0;
    std::shared_ptr<Dump> dump_;
};

}  // namespace tool
