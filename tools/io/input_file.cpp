#include "io/input_file.h"

#include "cli/messages.h"
#include "errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace tool {

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : shown(path)) {
    descriptor_ = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot open");
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) fail("cannot read");
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        fail("cannot read");
    }
    // Standard input may be a file somebody has read the beginning of: it is a stream all the same.
    if (S_ISREG(status.st_mode) && path != "-") size_ = status.st_size;
}

InputFile::~InputFile() {
    if (descriptor_ > STDIN_FILENO) close(descriptor_);
}

void InputFile::fail(const char* doing) const {
    throw Failure(std::string(doing) + " " + name_ + ": " + std::strerror(errno));
}

std::size_t InputFile::read_at(std::int64_t offset, std::span<std::uint8_t> into) const {
    std::size_t done = 0;
    while (done < into.size()) {
        const auto count = pread(descriptor_, into.data() + done, into.size() - done,
                                 offset + static_cast<std::int64_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("cannot read");
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

std::size_t InputFile::read_on(std::span<std::uint8_t> into) const {
    std::size_t done = 0;
    while (done < into.size()) {
        const auto count = read(descriptor_, into.data() + done, into.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("cannot read");
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

bool InputFile::skip(std::int64_t bytes) const {
    std::vector<std::uint8_t> sink(
        static_cast<std::size_t>(std::min<std::int64_t>(bytes, 1 << 16)));
    while (bytes > 0) {
        const auto part = std::min<std::int64_t>(bytes, static_cast<std::int64_t>(sink.size()));
        const auto count = read_on(std::span(sink).first(static_cast<std::size_t>(part)));
        bytes -= static_cast<std::int64_t>(count);
        if (count < static_cast<std::size_t>(part)) return false;
    }
    return true;
}

std::vector<std::uint8_t> InputFile::read_part(std::int64_t offset, std::int64_t most) const {
    std::vector<std::uint8_t> bytes;
    if (!size_ && !skip(offset)) return bytes;
    if (size_) most = std::clamp<std::int64_t>(*size_ - offset, 0, most);
    constexpr std::int64_t kPiece = 1 << 20;
    while (static_cast<std::int64_t>(bytes.size()) < most) {
        const auto done = bytes.size();
        const auto piece =
            std::min<std::int64_t>(size_ ? most : kPiece, most - static_cast<std::int64_t>(done));
        bytes.resize(done + static_cast<std::size_t>(piece));
        const auto into = std::span(bytes).subspan(done);
        const auto count =
            size_ ? read_at(offset + static_cast<std::int64_t>(done), into) : read_on(into);
        bytes.resize(done + count);
        if (count < static_cast<std::size_t>(piece)) break;
    }
    return bytes;
}

std::unique_ptr<InputFile> seekable(const std::string& path) {
    auto file = std::make_unique<InputFile>(path);
    if (file->size()) return file;
    struct stat status {};
    if (fstat(file->descriptor_, &status) == 0 && S_ISCHR(status.st_mode))
        throw Failure(file->name() +
                      ": expected a file or a pipe, given a device, which need not have an end\n"
                      "  what to do: save so many of its bytes to a file");
    const auto folder = std::filesystem::temp_directory_path();
    auto hidden = (folder / "imgcnv-XXXXXX").string();
    const int copy = mkostemp(hidden.data(), O_CLOEXEC);
    if (copy < 0)
        throw Failure("cannot create a temporary file in " + folder.string() + ": " +
                      std::strerror(errno));
    unlink(hidden.c_str());  // gone with the command, however that ends
    std::unique_ptr<InputFile> whole(new InputFile(file->name(), copy, 0));
    std::vector<std::uint8_t> piece(1 << 20);
    for (std::size_t count = piece.size(); count == piece.size();) {
        count = file->read_on(piece);
        for (std::size_t done = 0; done < count;) {
            const auto written = write(copy, piece.data() + done, count - done);
            if (written < 0 && errno == EINTR) continue;
            if (written < 0)
                throw Failure("cannot keep " + file->name() + " in " + folder.string() + ": " +
                              std::strerror(errno));
            done += static_cast<std::size_t>(written);
        }
        *whole->size_ += static_cast<std::int64_t>(count);
    }
    return whole;
}

std::vector<std::uint8_t> read_all(const InputFile& file) {
    std::vector<std::uint8_t> bytes;
    constexpr std::size_t kPiece = 1 << 20;
    for (std::size_t read = kPiece; read == kPiece;) {
        const auto end = bytes.size();
        bytes.resize(end + kPiece);
        read = file.read_on(std::span(bytes).subspan(end));
        bytes.resize(end + read);
    }
    return bytes;
}

std::optional<std::int64_t> regular_file_size(const std::string& path) {
    struct stat status {};
    if (path == "-" || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return status.st_size;
}

}  // namespace tool
