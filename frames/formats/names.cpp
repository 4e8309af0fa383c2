#include "formats/names.h"

namespace frames {
namespace {

bool is_separator(char c) { return std::string_view("_- .:\t").find(c) != std::string_view::npos; }

}  // namespace

PlainName::PlainName(std::string_view name) {
    for (const char c : name) {
        if (is_separator(c)) continue;
        if (length_ == sizeof text_) {
            length_ = 0;
            return;
        }
        text_[length_++] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
}

std::string_view without_prefix(std::string_view plain) {
    for (const std::string_view prefix :
         {"imgcnvpixel", "pixelformat", "v4l2pixfmt", "gstvideoformat", "avpixfmt",
          "arvpixelformat", "drmformat", "gvsppix", "pfnc", "pixfmt", "cv2", "cv"})
        if (plain.starts_with(prefix) && plain.size() > prefix.size())
            return plain.substr(prefix.size());
    return plain;
}

std::string_view without_letters(std::string_view name, std::size_t count) {
    while (!name.empty() && (count > 0 || is_separator(name[0]))) {
        if (!is_separator(name[0])) --count;
        name.remove_prefix(1);
    }
    return name;
}

void write_quoted(std::string_view name, Text& text) {
    constexpr std::size_t kMostShown = 80;
    text << "'";
    for (const char c : name.substr(0, kMostShown)) {
        const char shown = c >= ' ' && c <= '~' ? c : '?';
        text << std::string_view(&shown, 1);
    }
    text << (name.size() > kMostShown ? "...'" : "'");
}

}  // namespace frames
