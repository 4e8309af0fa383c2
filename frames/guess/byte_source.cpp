#include "guess/byte_source.h"

#include <algorithm>

namespace frames {

std::span<const std::uint8_t> ByteSource::bytes(std::int64_t offset, std::int64_t count,
                                                std::vector<std::uint8_t>& room) {
    if (offset < 0 || offset >= size_ || has_failed_) return {};
    count = std::min(count, size_ - offset);
    if (data_ != nullptr) return {data_ + offset, static_cast<std::size_t>(count)};
    room.resize(static_cast<std::size_t>(count));
    std::int64_t filled = 0;
    while (filled < count) {
        const auto got = read_(context_, offset + filled, room.data() + filled, count - filled);
        has_failed_ = got < 0 || got > count - filled;
        if (has_failed_) return {};
        if (got == 0) break;  // the file has become shorter
        filled += got;
    }
    return std::span(room).first(static_cast<std::size_t>(filled));
}

}  // namespace frames
