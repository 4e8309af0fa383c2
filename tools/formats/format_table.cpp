#include "errors.h"
#include "formats/format.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <optional>

namespace tool {
namespace {

#define FORMAT(name, code, library, bits, depth, layout, order, pfnc, gst, v4l2, ffmpeg, ros) \
    SourceFormat{name,                                                                        \
                 code,                                                                        \
                 IMGCNV_PIXEL_##library,                                                      \
                 "IMGCNV_PIXEL_" #library,                                                    \
                 bits,                                                                        \
                 depth,                                                                       \
                 Layout::layout,                                                              \
                 Order::order,                                                                \
                 pfnc,                                                                        \
                 gst,                                                                         \
                 v4l2,                                                                        \
                 ffmpeg,                                                                      \
                 ros},
constexpr SourceFormat kSourceFormats[] = {
#include "formats/formats.def"
};

#define FOREIGN(names, meaning, advice) ForeignFormat{names, meaning, advice},
constexpr ForeignFormat kForeignFormats[] = {
#include "formats/foreign_formats.def"
};

std::optional<std::uint32_t> hexValue(std::string_view text) {
    if (text.size() < 3 || text.size() > 10 || text[0] != '0' || (text[1] | 0x20) != 'x')
        return std::nullopt;
    std::uint32_t value = 0;
    for (const char c : text.substr(2)) {
        const auto digit = std::string_view("0123456789abcdef").find(static_cast<char>(c | 0x20));
        if (digit == std::string_view::npos) return std::nullopt;
        value = value * 16 + static_cast<std::uint32_t>(digit);
    }
    return value;
}

bool listHas(std::string_view names, std::string_view normalized) {
    for (const auto& name : words(names))
        if (normalizedName(name) == normalized) return true;
    return false;
}

const ForeignFormat* findForeign(std::string_view name) {
    if (const auto code = hexValue(name)) {
        for (const auto& foreign : kForeignFormats)
            for (const auto& each : words(foreign.names))
                if (hexValue(each) == code) return &foreign;
        return nullptr;
    }
    const auto wanted = normalizedName(name);
    for (const auto& foreign : kForeignFormats)
        if (listHas(foreign.names, wanted)) return &foreign;
    return nullptr;
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const auto replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string nearestNames(std::string_view name) {
    const auto wanted = normalizedName(name);
    std::vector<std::pair<std::size_t, std::string_view>> ranked;
    for (const auto& format : kSourceFormats)
        ranked.emplace_back(editDistance(wanted, normalizedName(format.name)), format.name);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text(ranked[0].second);
    for (std::size_t i = 1; i < 3; ++i)
        if (ranked[i].first <= ranked[0].first + 1) text += ", " + std::string(ranked[i].second);
    return text;
}

}  // namespace

std::span<const SourceFormat> sourceFormats() { return kSourceFormats; }
std::span<const ForeignFormat> foreignFormats() { return kForeignFormats; }

std::string normalizedName(std::string_view name) {
    std::string text;
    for (const char c : name)
        if (c != '_' && c != ' ' && c != '-')
            text += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    for (const std::string_view prefix : {"imgcnvpixel", "v4l2pixfmt", "avpixfmt"})
        if (text.starts_with(prefix)) return text.substr(prefix.size());
    return text;
}

const SourceFormat* findFormat(std::string_view name) {
    if (const auto code = hexValue(name)) {
        for (const auto& format : kSourceFormats)
            if (format.code == *code) return &format;
        return nullptr;
    }
    const auto wanted = normalizedName(name);
    for (const auto& format : kSourceFormats)
        if (normalizedName(format.name) == wanted) return &format;
    for (const auto& format : kSourceFormats)
        for (const auto names :
             {format.pfnc, format.gstreamer, format.v4l2, format.ffmpeg, format.ros})
            if (listHas(names, wanted)) return &format;
    return nullptr;
}

const SourceFormat& formatNamed(std::string_view name) {
    if (const auto* format = findFormat(name)) return *format;
    if (const auto* foreign = findForeign(name))
        throw UsageError(std::string(name) +
                         " is no source format: " + std::string(foreign->meaning) +
                         "\n  what to do: " + std::string(foreign->advice));
    throw UsageError("unknown format '" + std::string(name) + "'\n  nearest: " +
                     nearestNames(name) + "\n  `imgcnv formats` lists every name");
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> list;
    while (true) {
        const auto start = text.find_first_not_of(' ');
        if (start == std::string_view::npos) return list;
        text.remove_prefix(start);
        const auto end = std::min(text.find(' '), text.size());
        list.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

std::string_view layoutName(Layout layout) {
    switch (layout) {
        case Layout::Bits:
            return "8 pixels a byte, first in bit 0";
        case Layout::Nibbles:
            return "2 pixels a byte, first in bits 0..3";
        case Layout::Bytes:
            return "1 byte a pixel";
        case Layout::Words:
            return "16-bit little-endian words";
        case Layout::Packed:
            return "2 pixels in 3 bytes: high, low bits of both, high";
        case Layout::Rgb:
            return "R G B";
        case Layout::Bgr:
            return "B G R";
        case Layout::Uyyvyy:
            return "U Y0 Y1 V Y2 Y3, 4 pixels";
        case Layout::Uyvy:
            return "U Y0 V Y1, 2 pixels";
        case Layout::Yuyv:
            return "Y0 U Y1 V, 2 pixels";
        case Layout::Uyv:
            return "U Y V";
        case Layout::Points:
            return "list of points: value, 12-bit row, 12-bit column";
    }
    return "";
}

std::string_view orderName(Order order) {
    constexpr std::array<std::string_view, 5> kNames{"", "RG", "GB", "BG", "GR"};
    return kNames[static_cast<std::size_t>(order)];
}

std::string hexCode(std::uint32_t code) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

}  // namespace tool
