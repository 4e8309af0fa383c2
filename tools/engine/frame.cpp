#include "engine/frame.h"

#include "errors.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace tool {
namespace {

/// The engine's lines below the message that they explain; it indents all but the first.
std::string below(const char* text) {
    std::string lines = *text == '\0' ? "" : "\n  ";
    lines += text;
    return lines;
}

}  // namespace

const std::vector<Format>& all_formats() {
    static const auto formats = [] {
        std::vector<Format> list;
        for (int i = 0; i < imgcnv_format_count(); ++i) {
            Format format{};
            format.struct_size = sizeof format;
            if (imgcnv_format_at(i, &format) == IMGCNV_OK) list.push_back(format);
        }
        return list;
    }();
    return formats;
}

void check(int status, const char* text) {
    switch (status) {
        case IMGCNV_OK:
            return;
        case IMGCNV_OUT_OF_MEMORY:
            throw std::bad_alloc();
        case IMGCNV_BAD_ARGUMENT:
        case IMGCNV_UNKNOWN_FORMAT:
        case IMGCNV_UNSUPPORTED:
            throw UsageError(text);
        default:
            throw Failure(text);
    }
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> list;
    while (!text.empty()) {
        const auto end = std::min(text.find(' '), text.size());
        if (end > 0) list.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return list;
}

std::string hex_code(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

std::string Frame::text() const {
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_frame_describe(&given, text, sizeof text), text);
    return text;
}

void set_format(imgcnv_frame& frame, const std::string& name) {
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_find_format(name.c_str(), &frame.format, &frame.flags, text, sizeof text), text);
}

Frame measured(const imgcnv_frame& given) {
    Frame frame;
    frame.given = given;
    frame.sizes.struct_size = sizeof frame.sizes;
    frame.format.struct_size = sizeof frame.format;
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_frame_measure(&given, &frame.sizes, text, sizeof text), text);
    check(imgcnv_format_of_code(given.format, &frame.format), "unknown format");
    return frame;
}

std::string name_with_byte_order(const Frame& frame) {
    const bool big_endian = (frame.given.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0;
    return std::string(frame.format.name) + (big_endian ? " big-endian" : "");
}

FileFit fit(const Frame& frame, std::int64_t file_bytes) {
    imgcnv_file_fit found{};
    found.struct_size = sizeof found;
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_file_measure(&frame.given, file_bytes, &found, text, sizeof text), text);
    return {found.frames, found.left_over, below(text)};
}

std::string length_problem(const Frame& frame, std::int64_t file_bytes) {
    const auto skip = frame.given.skip;
    auto text = "expected " + std::to_string(frame.sizes.frame_bytes) + " bytes (" + frame.text() +
                "), given " + std::to_string(std::max<std::int64_t>(0, file_bytes - skip));
    if (skip > 0) text += " after the " + std::to_string(skip) + " skipped";
    const auto found = fit(frame, file_bytes);
    if (found.frames > 1 && found.left_over == 0)
        text += "\n  it holds exactly " + std::to_string(found.frames) +
                " such frames: --frames all, or --frames 0 for the first";
    else if (found.frames >= 1)
        text += "\n  --frames 0 takes the first frame and leaves the rest";
    text += found.text;
    if (found.frames == 0 && file_bytes > skip)
        text += "\n  --best-effort completes a frame that is cut short with zeros";
    return text;
}

}  // namespace tool
