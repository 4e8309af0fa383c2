#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tool {

/// A file that is there completely or not at all: bytes go to a hidden file beside it, which
/// commit() renames. "-" and things that are no regular file (pipes, devices) are written directly.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::span<const std::uint8_t> bytes);
    void commit();

  private:
    [[noreturn]] void fail(const char* doing) const;

    std::string path_;
    std::string hidden_;  ///< empty: written directly
    int descriptor_ = -1;
};

/// Blocks SIGINT, SIGTERM and SIGHUP for all threads made later; a thread of its own waits for
/// them, removes the hidden files and ends the process by the signal. Call before any thread.
void remove_hidden_files_on_signals();

}  // namespace tool
