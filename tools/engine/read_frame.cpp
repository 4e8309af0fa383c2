#include "engine/read_frame.h"

#include "errors.h"

#include <algorithm>
#include <limits>

namespace tool {

std::vector<std::uint8_t> read_frame(const InputFile& file, const Frame& frame,
                                     std::int64_t index) {
    const auto most = std::numeric_limits<std::int64_t>::max();
    if (index > (most - frame.given.skip) / std::max<std::int64_t>(frame.pitch(), 1))
        throw Failure(file.name() + ": no file reaches frame " + std::to_string(index));
    const auto start = frame.points() ? frame.given.skip : frame.offset(index);
    const auto wanted =
        frame.points() ? std::numeric_limits<std::int32_t>::max() : frame.sizes.frame_bytes;
    auto bytes = file.read_part(start, wanted);
    const auto needed = frame.points() ? 1 : frame.sizes.needed_bytes;
    if (static_cast<std::int64_t>(bytes.size()) < needed)
        throw Failure(
            file.name() + ": expected " + std::to_string(start + needed) + " bytes for frame " +
            std::to_string(index) + " of " + frame.text() +
            (file.size() ? ", given " + std::to_string(*file.size()) + fit(frame, *file.size()).text
                         : ", the stream ends before"));
    if (!frame.points()) bytes.resize(static_cast<std::size_t>(wanted));
    return bytes;
}

}  // namespace tool
