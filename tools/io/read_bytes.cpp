#include "io/read_bytes.h"

#include "errors.h"
#include "io/input_file.h"

#include <algorithm>

namespace tool {

std::vector<std::uint8_t> read_bytes(const std::string& path, std::int64_t skip) {
    const InputFile file(path);
    std::vector<std::uint8_t> bytes;
    if (file.size()) {
        bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(0, *file.size() - skip)));
        bytes.resize(file.read_at(skip, bytes));
    } else if (file.skip(skip)) {
        constexpr std::size_t kPiece = 1 << 20;
        for (std::size_t read = kPiece; read == kPiece;) {
            const auto end = bytes.size();
            bytes.resize(end + kPiece);
            read = file.read_on(std::span(bytes).subspan(end));
            bytes.resize(end + read);
        }
    }
    if (bytes.empty())
        throw Failure(file.name() +
                      (skip > 0 ? ": nothing behind the first " + std::to_string(skip) + " bytes"
                                : ": the file is empty"));
    return bytes;
}

}  // namespace tool
