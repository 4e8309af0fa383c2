#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace live {

/// Appends frames to a dump, whose name tells size and format: cap.raw becomes
/// cap_1920x1080_BayerRG8.raw. Frames of another kind begin another file.
class Recorder {
  public:
    explicit Recorder(std::string path) : path_(std::move(path)) {}

    /// Rows are written without padding. Throws Failure; the dump then ends with its last whole
    /// frame.
    void write(const imgcnv_frame& frame, const void* data, std::size_t bytes);
    /// Throws Failure when what was written did not reach the disk.
    void close();

    const std::string& name() const { return name_; }

  private:
    void open(const imgcnv_frame& frame);

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string path_, name_;
    std::unique_ptr<std::FILE, Close> file_;
    std::int64_t frame_bytes_ = 0, row_bytes_ = 0, rows_ = 0, written_ = 0;
};

}  // namespace live
