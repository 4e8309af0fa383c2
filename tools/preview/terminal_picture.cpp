#include "preview/terminal_picture.h"

#include <algorithm>
#include <string_view>

namespace tool {
namespace {

std::string color(const char* kind, const std::uint8_t* rgb) {
    std::string text = kind;
    for (int c = 0; c < 3; ++c) text += ';' + std::to_string(rgb[c]);
    return text;
}

}  // namespace

std::string half_blocks(const RgbPicture& picture) {
    std::string text;
    for (std::int64_t y = 0; y < picture.height; y += 2) {
        const std::uint8_t *top = nullptr, *bottom = nullptr;
        for (std::int64_t x = 0; x < picture.width; ++x) {
            const auto* new_top = picture.at(x, y);
            const auto* new_bottom = y + 1 < picture.height ? picture.at(x, y + 1) : nullptr;
            // Colours stay until they change: a third of the bytes in even areas.
            std::string change;
            if (top == nullptr || !std::equal(top, top + 3, new_top))
                change = color("38;2", new_top);
            if (new_bottom != nullptr &&
                (bottom == nullptr || !std::equal(bottom, bottom + 3, new_bottom)))
                change += (change.empty() ? "" : ";") + color("48;2", new_bottom);
            if (!change.empty()) text += "\033[" + change + "m";
            text += "\u2580";
            top = new_top;
            bottom = new_bottom;
        }
        text += "\033[0m\n";
    }
    return text;
}

std::string letters(const RgbPicture& picture) {
    constexpr std::string_view kRamp = " .:-=+*#%@";
    std::string text;
    for (std::int64_t y = 0; y < picture.height; y += 2) {
        for (std::int64_t x = 0; x < picture.width; ++x) {
            int sum = 0, samples = 0;
            for (auto v = y; v < std::min(y + 2, picture.height); ++v)
                for (int c = 0; c < 3; ++c, ++samples) sum += picture.at(x, v)[c];
            text += kRamp[static_cast<std::size_t>(sum) * kRamp.size() /
                          static_cast<std::size_t>(256 * samples)];
        }
        text += '\n';
    }
    return text;
}

}  // namespace tool
