#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// A raw dump, by name; "-" is standard input. Regular files are read at any place by any thread,
/// everything else in order. Throws Failure.
class InputFile {
  public:
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Bytes of a regular file; absent for streams.
    std::optional<std::int64_t> size() const { return size_; }

    /// Reads as much as there is, up to the span; says how much that was.
    std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> into) const;
    std::size_t read_on(std::span<std::uint8_t> into) const;
    /// Reads past `bytes` bytes of a stream; false when it ends before.
    bool skip(std::int64_t bytes) const;

    /// Up to `most` bytes from a place on, of files and of streams that nobody has read from.
    std::vector<std::uint8_t> read_part(std::int64_t offset, std::int64_t most) const;

    /// For messages.
    const std::string& name() const { return name_; }

  private:
    friend std::unique_ptr<InputFile> seekable(const std::string& path);
    InputFile(std::string name, int descriptor, std::int64_t size)
        : name_(std::move(name)), descriptor_(descriptor), size_(size) {}
    [[noreturn]] void fail(const char* doing) const;

    std::string name_;
    int descriptor_ = -1;
    std::optional<std::int64_t> size_;
};

/// The file, or for a stream a temporary file with its bytes: it can be read at any place, and
/// memory does not grow with it. Refuses devices.
std::unique_ptr<InputFile> seekable(const std::string& path);

/// Everything from where the file stands; for streams, to their end.
std::vector<std::uint8_t> read_all(const InputFile& file);

/// The size of a regular file without opening it; absent for all else.
std::optional<std::int64_t> regular_file_size(const std::string& path);

}  // namespace tool
