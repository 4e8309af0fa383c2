#include "preview/terminal_picture.h"

#include "picture/encode.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace tool {
namespace {

std::string color(const char* kind, const std::uint8_t* rgb) {
    std::string text = kind;
    for (int c = 0; c < 3; ++c) text += ';' + std::to_string(rgb[c]);
    return text;
}

std::string blocks(const RgbPicture& picture) {
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

std::string base64(const std::vector<std::uint8_t>& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto at = [&](std::size_t k) { return i + k < bytes.size() ? bytes[i + k] : 0U; };
        const unsigned group = at(0) << 16 | at(1) << 8 | at(2);
        for (unsigned k = 0; k < 4; ++k)
            text += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63];
    }
    return text;
}

/// A PNG in pieces of 4096 bytes, as the protocol wants it.
std::string kitty(RgbPicture& picture) {
    std::vector<std::uint8_t> png;
    encode_png({picture.width, picture.height, kRgb24, picture.pixels.data()}, 1, png);
    const auto data = base64(png);
    constexpr std::size_t kPiece = 4096;
    std::string text;
    for (std::size_t at = 0; at < data.size(); at += kPiece) {
        text += at == 0 ? "\033_Ga=T,f=100," : "\033_G";
        text += at + kPiece < data.size() ? "m=1;" : "m=0;";
        text += data.substr(at, kPiece) + "\033\\";
    }
    return text + "\n";
}

/// The colour of a 6x6x6 cube, the rounding spread over the pixels around by an ordered pattern.
int cube_color(const std::uint8_t* rgb, std::int64_t x, std::int64_t y) {
    constexpr int kPattern[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    int color = 0;
    for (int c = 0; c < 3; ++c)
        color = color * 6 + std::min(5, (rgb[c] * 5 * 16 / 255 + kPattern[y & 3][x & 3]) / 16);
    return color;
}

std::string repeated(char sixel, std::int64_t count) {
    return count > 3 ? "!" + std::to_string(count) + sixel
                     : std::string(static_cast<std::size_t>(count), sixel);
}

/// Bands of six rows; in each, one line for every colour that occurs in it.
std::string sixel(const RgbPicture& picture) {
    std::string text =
        "\033Pq\"1;1;" + std::to_string(picture.width) + ";" + std::to_string(picture.height);
    for (int i = 0; i < 216; ++i)
        text += "#" + std::to_string(i) + ";2;" + std::to_string(i / 36 * 20) + ";" +
                std::to_string(i / 6 % 6 * 20) + ";" + std::to_string(i % 6 * 20);
    for (std::int64_t top = 0; top < picture.height; top += 6) {
        std::map<int, std::string> rows;
        for (std::int64_t x = 0; x < picture.width; ++x)
            for (auto y = top; y < std::min(top + 6, picture.height); ++y) {
                auto& row = rows[cube_color(picture.at(x, y), x, y)];
                row.resize(static_cast<std::size_t>(picture.width));
                row[static_cast<std::size_t>(x)] |= static_cast<char>(1 << (y - top));
            }
        for (const auto& [color, row] : rows) {
            text += "#" + std::to_string(color);
            for (std::size_t x = 0; x < row.size();) {
                const auto end = std::min(row.find_first_not_of(row[x], x), row.size());
                text +=
                    repeated(static_cast<char>(63 + row[x]), static_cast<std::int64_t>(end - x));
                x = end;
            }
            text += "$";
        }
        text += "-";
    }
    return text + "\033\\\n";
}

constexpr std::pair<const char*, Style> kStyles[]{{"letters", Style::Letters},
                                                  {"blocks", Style::Blocks},
                                                  {"kitty", Style::Kitty},
                                                  {"sixel", Style::Sixel}};

/// A positive number in an environment variable.
std::optional<std::int64_t> number_in(const char* variable) {
    const char* text = std::getenv(variable);
    const auto value = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
    return value > 0 && value <= 10000 ? std::optional<std::int64_t>(value) : std::nullopt;
}

bool shows_colored_blocks() {
    const char* no_color = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    if (isatty(STDOUT_FILENO) == 0 || (no_color != nullptr && *no_color != '\0')) return false;
    if (terminal == nullptr || std::string_view(terminal) == "dumb") return false;
    std::setlocale(LC_CTYPE, "");
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

}  // namespace

std::vector<std::string> style_names() {
    std::vector<std::string> names;
    for (const auto& [name, style] : kStyles) names.emplace_back(name);
    return names;
}

Style style_named(const std::string& name) {
    for (const auto& [known, style] : kStyles)
        if (name == known) return style;
    return Style::Letters;
}

Terminal this_terminal() {
    Terminal terminal;
    if (shows_colored_blocks()) terminal.best = Style::Blocks;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        terminal = {terminal.best, size.ws_col, std::max(1, size.ws_row - 1)};  // and the prompt
    terminal.columns = number_in("COLUMNS").value_or(terminal.columns);
    return terminal;
}

std::string drawn(const Picture& picture, Style style, std::int64_t columns, std::int64_t lines) {
    const bool pixels = style == Style::Kitty || style == Style::Sixel;
    // Most terminals' letters are about 8x16 pixels.
    const std::int64_t wide = pixels ? 8 : 1, high = pixels ? 16 : 2;
    const auto [width, height] =
        fitted(picture.width, picture.height, columns * wide, lines * high);
    auto small = scaled(picture, width, height);
    switch (style) {
        case Style::Blocks:
            return blocks(small);
        case Style::Kitty:
            return kitty(small);
        case Style::Sixel:
            return sixel(small);
        default:
            return letters(small);
    }
}

}  // namespace tool
