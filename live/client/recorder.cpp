#include "client/recorder.h"

#include "support/engine.h"

#include <filesystem>

namespace live {
namespace {

std::string name_with_hints(const std::string& path, const imgcnv_frame& frame) {
    std::filesystem::path name(path);
    const auto extension = name.extension().empty() ? ".raw" : name.extension().string();
    const auto hints = "_" + std::to_string(frame.width) + "x" + std::to_string(frame.height) +
                       "_" + format_info(frame.format).name + extension;
    return name.replace_filename(name.stem().string() + hints).string();
}

}  // namespace

void Recorder::open(const imgcnv_frame& frame) {
    close();
    name_ = name_with_hints(path_, frame);
    file_.reset(std::fopen(name_.c_str(), "wb"));
    if (!file_) throw Failure(name_ + ": cannot be opened for writing");
    imgcnv_frame tight = frame;
    tight.stride = 0;
    const auto sizes = sizes_of(tight);
    frame_bytes_ = sizes.frame_bytes;
    row_bytes_ = sizes.row_bytes;
    rows_ = frame.height;
    written_ = 0;
}

void Recorder::write(const imgcnv_frame& frame, const void* data, std::size_t bytes) {
    if (!file_ || name_ != name_with_hints(path_, frame)) open(frame);
    if (static_cast<std::int64_t>(bytes) < sizes_of(frame).needed_bytes)
        throw Failure("the camera's frame is shorter than its format and size say");
    const auto* from = static_cast<const char*>(data);
    std::size_t done = 0;
    if (frame.stride == 0) {
        done = std::fwrite(from, 1, static_cast<std::size_t>(frame_bytes_), file_.get());
    } else {
        for (std::int64_t y = 0; y < rows_; ++y, from += frame.stride)
            done += std::fwrite(from, 1, static_cast<std::size_t>(row_bytes_), file_.get());
    }
    if (static_cast<std::int64_t>(done) == frame_bytes_) {
        written_ += frame_bytes_;
        return;
    }
    file_.reset();
    std::error_code ignored;
    std::filesystem::resize_file(name_, static_cast<std::uintmax_t>(written_), ignored);
    throw Failure(name_ + ": cannot be written; is the disk full? It ends with a whole frame");
}

void Recorder::close() {
    if (file_ && std::fflush(file_.get()) != 0)
        throw Failure(name_ + ": cannot be written; is the disk full?");
    file_.reset();
}

}  // namespace live
