#include "formats/format.h"
#include "imgcnv.h"
#include "support/boundary.h"

#define IMGCNV_TEXT_OF(token)        #token
#define IMGCNV_VERSION_TEXT(a, b, c) IMGCNV_TEXT_OF(a) "." IMGCNV_TEXT_OF(b) "." IMGCNV_TEXT_OF(c)

extern "C" {

const char* imgcnv_status_name(int status) {
    switch (status) {
        case IMGCNV_OK:
            return "ok";
        case IMGCNV_BAD_ARGUMENT:
            return "bad argument";
        case IMGCNV_OUT_OF_MEMORY:
            return "out of memory";
        case IMGCNV_UNKNOWN_FORMAT:
            return "unknown format";
        case IMGCNV_BAD_SIZE:
            return "bad size";
        case IMGCNV_BAD_DATA:
            return "bad data";
        case IMGCNV_OVERLAP:
            return "source and target overlap";
        case IMGCNV_BUSY:
            return "busy";
        case IMGCNV_UNSUPPORTED:
            return "unsupported";
        default:
            return "unknown status";
    }
}

const char* imgcnv_frames_version(void) {
    return IMGCNV_VERSION_TEXT(IMGCNV_VERSION_MAJOR, IMGCNV_VERSION_MINOR, IMGCNV_VERSION_PATCH);
}

int imgcnv_format_count(void) { return static_cast<int>(frames::formats().size()); }

int imgcnv_format_at(int index, imgcnv_format_info* info) {
    if (index < 0 || index >= imgcnv_format_count()) return IMGCNV_BAD_ARGUMENT;
    const auto& format = frames::formats()[static_cast<std::size_t>(index)];
    return frames::give(format, info) ? IMGCNV_OK : IMGCNV_BAD_ARGUMENT;
}

int imgcnv_format_of_code(uint32_t code, imgcnv_format_info* info) {
    const auto* const format = frames::format_of_code(code);
    if (format == nullptr) return IMGCNV_UNKNOWN_FORMAT;
    return frames::give(*format, info) ? IMGCNV_OK : IMGCNV_BAD_ARGUMENT;
}

}  // extern "C"
