#include "formats/name_meaning.h"

#include <cstdlib>

namespace frames {
namespace {

using Kind = NameMeaning::Kind;

struct Part {
    std::string_view text;
    Kind kind = Kind::Unknown;
    imgcnv_bayer_order order = IMGCNV_ORDER_NONE;
    int layout = 0;
};

// A part that begins with another one stands before it.
constexpr Part kParts[] = {
    {"grayscale", Kind::Grey},
    {"greyscale", Kind::Grey},
    {"gray", Kind::Grey},
    {"grey", Kind::Grey},
    {"mono", Kind::Grey},
    {"luma", Kind::Grey},
    {"bayer", Kind::Mosaic},
    {"rggb", Kind::Mosaic, IMGCNV_ORDER_RG},
    {"gbrg", Kind::Mosaic, IMGCNV_ORDER_GB},
    {"bggr", Kind::Mosaic, IMGCNV_ORDER_BG},
    {"grbg", Kind::Mosaic, IMGCNV_ORDER_GR},
    {"rgba", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_RGBA},
    {"rgbx", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_RGBA},
    {"bgra", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_BGRA},
    {"bgrx", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_BGRA},
    {"rgb", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_RGB},
    {"bgr", Kind::Color, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_BGR},
    {"uyyvyy", Kind::Yuv, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_UYYVYY},
    {"uyvy", Kind::Yuv, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_UYVY},
    {"yuyv", Kind::Yuv, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_YUYV},
    {"yuy2", Kind::Yuv, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_YUYV},
    {"ycbcr", Kind::Yuv},
    {"yuv", Kind::Yuv},
    {"csi2p", Kind::Unknown, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_MIPI},
    {"csi2", Kind::Unknown, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_MIPI},
    {"mipi", Kind::Unknown, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_MIPI},
    {"unpacked", Kind::Unknown, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_WORDS},
    {"packed", Kind::Unknown, IMGCNV_ORDER_NONE, IMGCNV_LAYOUT_PACKED},
    {"bits"},
    {"bit"},
    {"le"},
    {"rg", Kind::Mosaic, IMGCNV_ORDER_RG},
    {"gb", Kind::Mosaic, IMGCNV_ORDER_GB},
    {"bg", Kind::Mosaic, IMGCNV_ORDER_BG},
    {"gr", Kind::Mosaic, IMGCNV_ORDER_GR},
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Reads the name from left to right.
class Reader {
  public:
    explicit Reader(std::string_view name) : rest_(name) {}

    NameMeaning read() {
        for (bool is_first = true; !rest_.empty(); is_first = false)
            if (!number() && !part() && !letter(is_first)) {
                meaning_.is_whole = false;
                rest_.remove_prefix(1);
            }
        if (raw_number_ && meaning_.layout == 0 && meaning_.depth > 8 && meaning_.depth < 16)
            meaning_.layout = IMGCNV_LAYOUT_MIPI;
        return meaning_;
    }

  private:
    bool number() {
        if (!is_digit(rest_[0])) return false;
        int value = 0;
        std::size_t digits = 0;
        for (; digits < rest_.size() && is_digit(rest_[digits]); ++digits)
            value = value < 100000 ? value * 10 + (rest_[digits] - '0') : value;
        rest_.remove_prefix(digits);
        if (!take_number(value)) meaning_.is_whole = false;
        // In the kernel's SRGGB10P the letter means MIPI packing, in PFNC's BayerRG10p it does not.
        if (rest_ == "p") {
            meaning_.layout = is_kernel_name_ ? IMGCNV_LAYOUT_MIPI : IMGCNV_LAYOUT_LSB_FIRST;
            rest_ = {};
        }
        return true;
    }

    bool take_number(int value) {
        if (meaning_.kind == Kind::Yuv && (value == 411 || value == 422 || value == 444)) {
            meaning_.chroma = value;
            return true;
        }
        if (meaning_.depth != 0) return false;
        if (meaning_.kind == Kind::Color) {
            const bool has_alpha = meaning_.layout >= IMGCNV_LAYOUT_RGBA;
            if (value == (has_alpha ? 32 : 24) || value == (has_alpha ? 8888 : 888)) value = 8;
            if (value == (has_alpha ? 64 : 48)) value = 16;
        }
        if (value < 1 || value > 16) return false;
        meaning_.depth = value;
        return true;
    }

    bool part() {
        for (const auto& known : kParts) {
            if (!rest_.starts_with(known.text)) continue;
            const bool is_new = known.kind == Kind::Unknown || meaning_.kind == Kind::Unknown ||
                                (known.kind == meaning_.kind && known.order != meaning_.order);
            if (!is_new || (known.order != 0 && meaning_.order != 0) ||
                (known.layout != 0 && meaning_.layout != 0))
                meaning_.is_whole = false;
            if (known.kind != Kind::Unknown && meaning_.kind == Kind::Unknown)
                meaning_.kind = known.kind;
            if (known.order != IMGCNV_ORDER_NONE) meaning_.order = known.order;
            if (known.layout != 0) meaning_.layout = known.layout;
            rest_.remove_prefix(known.text.size());
            return true;
        }
        return false;
    }

    /// What is short stands at the beginning only: "SRGGB10", "Y10P", "RAW10".
    bool letter(bool is_first) {
        if (!is_first && !rest_.starts_with("raw")) return false;
        if (rest_.starts_with("raw") && rest_.size() > 3 && is_digit(rest_[3])) {
            raw_number_ = true;
            rest_.remove_prefix(3);
            return true;
        }
        const auto next = rest_.substr(1);
        if (rest_[0] == 'y' && !next.empty() && is_digit(next[0])) {
            meaning_.kind = Kind::Grey;
        } else if (rest_[0] != 's' || next.empty() ||
                   std::string_view("rgb").find(next[0]) == std::string_view::npos) {
            return false;
        }
        is_kernel_name_ = true;
        rest_ = next;
        return true;
    }

    std::string_view rest_;
    NameMeaning meaning_;
    bool is_kernel_name_ = false;
    bool raw_number_ = false;
};

Kind kind_of(const Format& format) {
    if (is_mosaic(format)) return Kind::Mosaic;
    if (is_rgb(format)) return Kind::Color;
    return is_yuv(format) ? Kind::Yuv : Kind::Grey;
}

int chroma_of(const Format& format) {
    if (format.layout == IMGCNV_LAYOUT_UYYVYY) return 411;
    return format.layout == IMGCNV_LAYOUT_UYV ? 444 : 422;
}

/// What a depth is stored as when the name does not say.
int usual_layout(int depth) {
    if (depth < 8) return IMGCNV_LAYOUT_LSB_FIRST;
    return depth == 8 ? IMGCNV_LAYOUT_BYTES : IMGCNV_LAYOUT_WORDS;
}

}  // namespace

NameMeaning meaning_of(std::string_view plain) { return Reader(plain).read(); }

const Format* format_of(const NameMeaning& meaning) {
    if (!meaning.is_whole || meaning.kind == Kind::Unknown || meaning.kind == Kind::Yuv)
        return nullptr;
    // Of fewer than 8 bits the order in the byte would be a guess.
    if (meaning.depth < 8 && meaning.layout == 0) return nullptr;
    if (meaning.kind == Kind::Mosaic && meaning.order == IMGCNV_ORDER_NONE) return nullptr;
    for (const auto& format : formats())
        if (distance(meaning, format) == 0) return &format;
    return nullptr;
}

int distance(const NameMeaning& meaning, const Format& format) {
    if (is_points(format)) return 10000;  // a list is no layout of pixels
    int result = 0;
    if (meaning.kind != kind_of(format)) result += 1000;
    if (meaning.order != IMGCNV_ORDER_NONE && meaning.order != format.order) result += 300;
    if (meaning.chroma != 0 && (!is_yuv(format) || meaning.chroma != chroma_of(format)))
        result += 200;
    const auto depth = meaning.depth != 0 ? meaning.depth : 8;
    result += 20 * std::abs(depth - format.depth);
    const bool has_usual = meaning.kind == Kind::Grey || meaning.kind == Kind::Mosaic;
    if (meaning.layout != 0)
        result += meaning.layout != format.layout ? 50 : 0;
    else if (has_usual && usual_layout(format.depth) != format.layout)
        result += 10;
    return result;
}

}  // namespace frames
