#include "fakecam/dump_frames.h"

#include "support/engine.h"

#include <cstdio>
#include <filesystem>

namespace live {

DumpFrames::DumpFrames(const imgcnv_frame& frame, const std::vector<std::string>& paths, bool loop)
    : frame_(frame), bytes_(sizes_of(frame).frame_bytes), loop_(loop) {
    for (const auto& path : paths) {
        Dump dump{path, std::ifstream(path, std::ios::binary | std::ios::ate), 0};
        if (!dump.stream || std::filesystem::is_directory(path))
            throw Failure(path + ": expected a file that can be read");
        imgcnv_file_fit fit{};
        fit.struct_size = sizeof fit;
        char text[IMGCNV_TEXT_BYTES] = "";
        const auto file_bytes = static_cast<std::int64_t>(dump.stream.tellg());
        const int status = imgcnv_file_measure(&frame, file_bytes, &fit, text, sizeof text);
        if (status != IMGCNV_OK) throw Failure(path + ": " + text);
        if (fit.frames == 0)
            throw Failure(path + ": expected " + std::to_string(bytes_.size()) +
                          " bytes for each frame, given " + std::to_string(file_bytes) + "\n  " +
                          text);
        if (fit.left_over != 0)
            std::fprintf(
                stderr,
                "imgcnv-fakecam: %s: %lld bytes after the last whole frame are not served\n",
                path.c_str(), static_cast<long long>(fit.left_over));
        dump.frames = fit.frames;
        count_ += fit.frames;
        dumps_.push_back(std::move(dump));
    }
}

std::span<const std::uint8_t> DumpFrames::next() {
    if (next_ == count_) {
        next_ = 0;
        if (!loop_) return {};
    }
    std::int64_t index = next_++;
    auto dump = dumps_.begin();
    for (; index >= dump->frames; ++dump) index -= dump->frames;
    const auto frame_bytes = static_cast<std::int64_t>(bytes_.size());
    dump->stream.clear();
    dump->stream.seekg(frame_.skip + index * (frame_bytes + frame_.gap));
    dump->stream.read(reinterpret_cast<char*>(bytes_.data()), frame_bytes);
    if (dump->stream.gcount() != frame_bytes) {
        // The file became shorter since it was measured. Black is what a client can be told by.
        std::fprintf(stderr,
                     "imgcnv-fakecam: %s: frame %lld cannot be read any more; it is served black\n",
                     dump->path.c_str(), static_cast<long long>(index));
        std::fill(bytes_.begin(), bytes_.end(), std::uint8_t{0});
    }
    return bytes_;
}

}  // namespace live
