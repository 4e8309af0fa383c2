#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// All of a file, or of standard input ("-"), behind the first `skip` bytes. Throws Failure when it
/// cannot be read or nothing is left.
std::vector<std::uint8_t> read_bytes(const std::string& path, std::int64_t skip);

}  // namespace tool
