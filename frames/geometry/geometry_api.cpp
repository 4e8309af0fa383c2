#include "geometry/frame_geometry.h"
#include "geometry/length_fit.h"
#include "support/boundary.h"

#include <limits>

using frames::Geometry;
using frames::Text;

namespace {

int file_measure(const imgcnv_frame* given, std::int64_t file_bytes, imgcnv_file_fit* out,
                 Text& text) {
    imgcnv_frame frame;
    Geometry geometry;
    if (const auto status = frames::measure(given, geometry, text)) return status;
    frames::take(given, frame);
    if (file_bytes < 0) {
        text << "a file of " << file_bytes << " bytes: expected 0 or more";
        return IMGCNV_BAD_ARGUMENT;
    }
    imgcnv_file_fit result{};
    if (frame.skip > 0 && frame.skip >= file_bytes) {
        text << "nothing is left: the file has " << file_bytes << " bytes, and " << frame.skip
             << " are skipped";
        result.fit = IMGCNV_FIT_EMPTY;
    } else {
        const auto fit = frames::fit_length(geometry, frame.gap, file_bytes - frame.skip, text);
        result = {0, fit.frames, fit.left_over, fit.fit, fit.value};
    }
    if (frames::give(result, out)) return IMGCNV_OK;
    text.clear();
    text << "the result is null, or its struct_size is not set";
    return IMGCNV_BAD_ARGUMENT;
}

}  // namespace

extern "C" {

int imgcnv_frame_measure(const imgcnv_frame* frame, imgcnv_frame_sizes* sizes, char* buffer,
                         size_t buffer_bytes) {
    Text text(buffer, buffer_bytes);
    return frames::guarded(text, [&]() -> int {
        Geometry geometry;
        if (const auto status = frames::measure(frame, geometry, text)) return status;
        const imgcnv_frame_sizes result{0, geometry.row_bytes, geometry.stride,
                                        geometry.frame_bytes, geometry.needed_bytes};
        if (frames::give(result, sizes)) return IMGCNV_OK;
        text << "the result is null, or its struct_size is not set";
        return IMGCNV_BAD_ARGUMENT;
    });
}

int64_t imgcnv_row_bytes(uint32_t format, int64_t width) {
    const auto* const found = frames::format_of_code(format);
    if (found == nullptr || width < 0 || width > std::numeric_limits<std::int32_t>::max())
        return -1;
    return frames::row_bytes(*found, width);
}

int imgcnv_frame_describe(const imgcnv_frame* frame, char* buffer, size_t buffer_bytes) {
    Text text(buffer, buffer_bytes);
    return frames::guarded(text, [&]() -> int {
        Geometry geometry;
        if (const auto status = frames::measure(frame, geometry, text)) return status;
        frames::describe(geometry, text);
        return IMGCNV_OK;
    });
}

int imgcnv_file_measure(const imgcnv_frame* frame, int64_t file_bytes, imgcnv_file_fit* fit,
                        char* buffer, size_t buffer_bytes) {
    Text text(buffer, buffer_bytes);
    return frames::guarded(text, [&] { return file_measure(frame, file_bytes, fit, text); });
}

}  // extern "C"
