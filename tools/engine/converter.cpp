#include "engine/converter.h"

namespace tool {

PixelKind pixel_kind(int target, const Format& format) {
    switch (target) {
        case IMGCNV_TARGET_MONO8:
            return kMono8;
        case IMGCNV_TARGET_BGR24:
            return kBgr24;
        case IMGCNV_TARGET_RGBA32:
            return kRgba32;
        case IMGCNV_TARGET_BGRA32:
            return kBgra32;
        case IMGCNV_TARGET_RAW16: {
            const bool rgb =
                format.layout >= IMGCNV_LAYOUT_RGB && format.layout <= IMGCNV_LAYOUT_BGRA;
            return rgb ? kRgb48 : kMono16;
        }
        case IMGCNV_TARGET_RGB48:
            return kRgb48;
        case IMGCNV_TARGET_BGR48:
            return kBgr48;
        default:
            return kRgb24;
    }
}

Pipeline open_pipeline(const Frame& frame, const imgcnv_target& target) {
    char text[IMGCNV_TEXT_BYTES];
    imgcnv_pipeline* pipeline = nullptr;
    check(imgcnv_pipeline_open(&frame.given, &target, &pipeline, text, sizeof text), text);
    return Pipeline(pipeline);
}

Converter::Converter(const Frame& frame, const imgcnv_target& target)
    : pipeline_(open_pipeline(frame, target)) {
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    check(imgcnv_pipeline_describe(pipeline_.get(), &info),
          "the pipeline does not describe itself");
    pixels_.resize(static_cast<std::size_t>(info.picture_bytes));
    picture_ = {info.width, info.height, pixel_kind(target.kind, frame.format), pixels_.data()};
}

Picture Converter::convert(std::span<const std::uint8_t> source) {
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_pipeline_run(pipeline_.get(), source.data(), source.size(), pixels_.data(),
                              pixels_.size(), text, sizeof text),
          text);
    return picture_;
}

}  // namespace tool
