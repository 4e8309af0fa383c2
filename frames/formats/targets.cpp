#include "formats/names.h"
#include "support/boundary.h"

#include <span>

namespace {

using frames::Text;

struct Choice {
    int value;
    const char* name;
    const char* aliases;
};

constexpr Choice kTargets[] = {
    {IMGCNV_TARGET_MONO8, "mono8", "mono grey gray grey8 gray8 greyscale grayscale y8"},
    {IMGCNV_TARGET_RGB24, "rgb24", "rgb rgb8 rgb888 rgb8packed"},
    {IMGCNV_TARGET_BGR24, "bgr24", "bgr bgr8 bgr888 bgr8packed"},
    {IMGCNV_TARGET_RGBA32, "rgba32", "rgba rgba8 rgba8888 rgba8packed"},
    {IMGCNV_TARGET_BGRA32, "bgra32", "bgra bgra8 bgra8888 bgra8packed"},
    {IMGCNV_TARGET_RAW16, "raw16", "raw samples"},
    {IMGCNV_TARGET_RGB48, "rgb48", "rgb16"},
    {IMGCNV_TARGET_BGR48, "bgr48", "bgr16"}};

constexpr Choice kDemosaics[] = {{IMGCNV_NEAREST, "nearest", "nearestneighbour nearestneighbor"},
                                 {IMGCNV_BILINEAR, "bilinear", "linear"},
                                 {IMGCNV_ADAPTIVE, "adaptive", ""}};

const char* name_of(std::span<const Choice> choices, int value) {
    for (const auto& choice : choices)
        if (choice.value == value) return choice.name;
    return "";
}

int find(std::span<const Choice> choices, const char* what, const char* name, int* value,
         Text& text) {
    if (name == nullptr || value == nullptr) {
        text << "name and value must not be null";
        return IMGCNV_BAD_ARGUMENT;
    }
    const frames::PlainName plain(name);
    const auto bare = frames::without_prefix(plain.view());
    const auto same = [&](std::string_view word) { return word == bare; };
    for (const auto& choice : choices)
        if (frames::any_word(choice.name, same) || frames::any_word(choice.aliases, same)) {
            *value = choice.value;
            return IMGCNV_OK;
        }
    text << "unknown " << what << " ";
    frames::write_quoted(name, text);
    text << ": expected ";
    for (const auto& choice : choices)
        text << (&choice == &choices.front()  ? ""
                 : &choice == &choices.back() ? " or "
                                              : ", ")
             << choice.name;
    return IMGCNV_BAD_ARGUMENT;
}

}  // namespace

extern "C" {

int imgcnv_find_target(const char* name, int* kind, char* buffer, size_t buffer_bytes) {
    Text text(buffer, buffer_bytes);
    return find(kTargets, "target", name, kind, text);
}

int imgcnv_find_demosaic(const char* name, int* demosaic, char* buffer, size_t buffer_bytes) {
    Text text(buffer, buffer_bytes);
    return find(kDemosaics, "demosaic method", name, demosaic, text);
}

const char* imgcnv_target_name(int kind) { return name_of(kTargets, kind); }

const char* imgcnv_demosaic_name(int demosaic) { return name_of(kDemosaics, demosaic); }

}  // extern "C"
