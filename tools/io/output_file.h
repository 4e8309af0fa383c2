#pragma once

#include <sys/types.h>
#include <cstdint>
#include <span>
#include <string>

namespace tool {

/// What happens to a file that is there already.
enum class Existing { Replace, Refuse };

/// A file that is there completely or not at all: bytes go to a hidden file beside it, which
/// commit() renames. "-" and whatever is not a regular file (pipes, devices) are written directly.
/// A file that is replaced keeps its mode, a link stays a link, also when it leads nowhere yet.
/// Throws Failure.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path, Existing existing = Existing::Replace);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::span<const std::uint8_t> bytes);
    void commit();

  private:
    [[noreturn]] void fail(const char* doing) const;
    void create_hidden(mode_t mode);

    std::string path_;
    std::string hidden_;  ///< empty: written directly
    int descriptor_ = -1;
    Existing existing_;
};

/// Throws UsageError when both names are those of one file, whatever the links between them.
void refuse_replacing(const std::string& input, const std::string& output);

/// Blocks SIGINT, SIGTERM and SIGHUP for all threads made later; a thread of its own waits for
/// them, removes the hidden files and ends the process by the signal. Closed pipes and the limit of
/// a file's size become errors of write(). Call before any thread.
void remove_hidden_files_on_signals();

}  // namespace tool
