#pragma once

#include "convert/convert_options.h"
#include "convert/input_list.h"
#include "io/input_file.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tool {

struct FrameJob {
    std::size_t input = 0;    ///< index
    std::int64_t frame = 0;   ///< number in its dump
    std::int64_t number = 0;  ///< in the names of pictures: the same whether or not others fail
    /// Place among the frames handed out; -1 when there is no frame, only a fault.
    std::int64_t sequence = -1;
    std::shared_ptr<const Frame> shape;
    std::span<const std::uint8_t> bytes;  ///< in the caller's buffer
    bool completed = false;               ///< with zeros: the file is cut short
    std::string fault;                    ///< why the bytes are not there; empty: they are
};

/// Hands out the frames of all inputs, in order, to any number of threads. One file is open at a
/// time, plus those still being read from.
class FrameFeed {
  public:
    /// Whether a frame is to be converted; called in the order of frames, before its bytes are
    /// read.
    using Filter = std::function<bool(const FrameJob&)>;
    /// Gets the first frame that is read, before any thread converts one.
    using FirstFrame = std::function<void(const FrameJob&)>;

    FrameFeed(const ConvertOptions& options, const std::vector<Input>& inputs)
        : options_(options), inputs_(inputs) {}

    void set_filter(Filter filter) { filter_ = std::move(filter); }
    void on_first_frame(FirstFrame call) { first_frame_ = std::move(call); }

    /// Reads the next frame into the buffer; false when there is none left. A job with a fault is
    /// an input or a frame that cannot be used: the call after that goes on with the next one.
    bool next(FrameJob& job, std::vector<std::uint8_t>& buffer);

    /// Frames there will be when no input is at fault; absent when a stream does not tell.
    std::optional<std::int64_t> expected_frames() const;

  private:
    struct Dump;
    bool take(FrameJob& job, std::vector<std::uint8_t>& buffer);
    bool open_next(FrameJob& job);
    void count_frames(Dump& dump) const;
    std::int64_t held_frames(const Dump& dump) const;
    void start_stream(Dump& dump) const;
    bool read_stream(FrameJob& job, std::vector<std::uint8_t>& buffer);
    void read_points(FrameJob& job, std::vector<std::uint8_t>& buffer) const;
    void read_file(const Dump& dump, FrameJob& job, std::vector<std::uint8_t>& buffer) const;

    const ConvertOptions& options_;
    const std::vector<Input>& inputs_;
    Filter filter_;
    FirstFrame first_frame_;
    std::mutex lock_;
    std::size_t next_input_ = 0;
    std::int64_t next_number_ = 0;
    std::int64_t handed_out_ = 0;
    std::shared_ptr<Dump> dump_;
};

}  // namespace tool
