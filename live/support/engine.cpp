#include "support/engine.h"

#include <charconv>

namespace live {
namespace {

void check(int status, const char* text) {
    if (status != IMGCNV_OK) throw Failure(*text ? text : imgcnv_status_name(status));
}

}  // namespace

imgcnv_frame frame_named(const std::string& format, const std::string& size) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    char text[IMGCNV_TEXT_BYTES] = "";
    check(imgcnv_find_format(format.c_str(), &frame.format, &frame.flags, text, sizeof text), text);
    const char* const end = size.data() + size.size();
    const auto [x, width_error] = std::from_chars(size.data(), end, frame.width);
    const bool has_x = width_error == std::errc() && x != end && (*x == 'x' || *x == 'X');
    const auto [last, height_error] = std::from_chars(has_x ? x + 1 : end, end, frame.height);
    if (!has_x || height_error != std::errc() || last != end)
        throw Failure("size: expected width and height such as 1920x1080, given " + size);
    return frame;
}

std::uint32_t format_code(const std::string& name) {
    std::uint32_t code = 0;
    char text[IMGCNV_TEXT_BYTES] = "";
    check(imgcnv_find_format(name.c_str(), &code, nullptr, text, sizeof text), text);
    return code;
}

imgcnv_format_info format_info(std::uint32_t code) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    if (imgcnv_format_of_code(code, &info) == IMGCNV_OK) return info;
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", code);
    throw Failure(std::string("pixel format ") + hex +
                  " is not one that imgcnv reads: choose another with --format");
}

imgcnv_frame_sizes sizes_of(const imgcnv_frame& frame) {
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    char text[IMGCNV_TEXT_BYTES] = "";
    check(imgcnv_frame_measure(&frame, &sizes, text, sizeof text), text);
    return sizes;
}

Pipeline open_pipeline(const imgcnv_frame& frame, const imgcnv_target& target) {
    imgcnv_pipeline* pipeline = nullptr;
    char text[IMGCNV_TEXT_BYTES] = "";
    check(imgcnv_pipeline_open(&frame, &target, &pipeline, text, sizeof text), text);
    return Pipeline(pipeline);
}

}  // namespace live
