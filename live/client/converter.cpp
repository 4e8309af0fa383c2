#include "client/converter.h"

#include <chrono>

namespace live {

Converter::Converter(int demosaic, int threads, int kind) : kind_(kind) {
    target_.flags = IMGCNV_TARGET_ANY_ALPHA;  // windows and files take the colours alone
    target_.demosaic = demosaic;
    target_.threads = threads;
}

void Converter::next_demosaic() {
    target_.demosaic = target_.demosaic == IMGCNV_ADAPTIVE ? IMGCNV_NEAREST : target_.demosaic + 1;
    pipeline_.reset();
}

void Converter::toggle_auto_levels() {
    auto_levels_ = !auto_levels_;
    pipeline_.reset();
}

double Converter::convert(const imgcnv_frame& frame, const void* data, std::size_t bytes) {
    const bool is_like_last = frame.format == frame_.format && frame.width == frame_.width &&
                              frame.height == frame_.height && frame.stride == frame_.stride;
    if (!pipeline_ || !is_like_last) open(frame, data, bytes);
    char text[IMGCNV_TEXT_BYTES] = "";
    const auto start = std::chrono::steady_clock::now();
    const int status = imgcnv_pipeline_run(pipeline_.get(), data, bytes, picture_.pixels.data(),
                                           picture_.pixels.size(), text, sizeof text);
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - start;
    if (status != IMGCNV_OK) throw Failure(text);
    return taken.count();
}

void Converter::open(const imgcnv_frame& frame, const void* data, std::size_t bytes) {
    target_.kind = kind_ != 0                           ? kind_
                   : format_info(frame.format).is_color ? IMGCNV_TARGET_RGB24
                                                        : IMGCNV_TARGET_MONO8;
    target_.levels = nullptr;
    if (auto_levels_) {
        char text[IMGCNV_TEXT_BYTES] = "";
        levels_ = IMGCNV_LEVELS_INIT;
        if (imgcnv_auto_levels(&frame, data, bytes, &levels_, text, sizeof text) == IMGCNV_OK)
            target_.levels = &levels_;
    }
    pipeline_ = open_pipeline(frame, target_);
    frame_ = frame;
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    imgcnv_pipeline_describe(pipeline_.get(), &info);
    picture_.width = info.width;
    picture_.height = info.height;
    picture_.channels = info.channels;
    picture_.pixels.resize(static_cast<std::size_t>(info.picture_bytes));
}

}  // namespace live
