#include "sheet/contact_sheet.h"

#include <algorithm>

namespace tool {
namespace {

constexpr std::int64_t kLetterWidth = 6, kLetterHeight = 13;
constexpr std::int64_t kMargin = 8;
constexpr std::uint8_t kBackground = 32, kTitle = 240, kDetail = 160;

constexpr std::uint8_t kLetters[][kLetterHeight] = {
#include "sheet/font_6x13.def"
};

}  // namespace

void draw_text(RgbPicture& picture, std::int64_t left, std::int64_t top, const std::string& text,
               std::uint8_t grey) {
    for (const char c : text) {
        const auto* rows = kLetters[c >= 32 && c < 127 ? c - 32 : '?' - 32];
        for (std::int64_t y = 0; y < kLetterHeight; ++y)
            for (std::int64_t x = 0; x < kLetterWidth; ++x) {
                const bool inside = left + x >= 0 && left + x < picture.width && top + y >= 0 &&
                                    top + y < picture.height;
                if (inside && (rows[y] << x & 0x80) != 0)
                    std::fill_n(picture.at(left + x, top + y), 3, grey);
            }
        left += kLetterWidth;
    }
}

RgbPicture contact_sheet(const std::vector<SheetCell>& cells, std::int64_t columns) {
    std::int64_t width = 0, height = 0;
    for (const auto& cell : cells) {
        width = std::max(width, cell.picture.width);
        height = std::max(height, cell.picture.height);
    }
    const auto number = static_cast<std::int64_t>(cells.size());
    columns = std::clamp<std::int64_t>(columns, 1, number);
    const auto rows = (number + columns - 1) / columns;
    const auto cell_width = width + kMargin;
    const auto cell_height = height + 2 * kLetterHeight + 2 * kMargin;
    RgbPicture sheet(columns * cell_width + kMargin, rows * cell_height + kMargin, kBackground);
    for (std::int64_t i = 0; i < number; ++i) {
        const auto& cell = cells[static_cast<std::size_t>(i)];
        const auto left = kMargin + i % columns * cell_width;
        const auto top = kMargin + i / columns * cell_height;
        for (std::int64_t y = 0; y < cell.picture.height; ++y)
            std::copy_n(cell.picture.at(0, y), cell.picture.width * 3, sheet.at(left, top + y));
        const auto letters = static_cast<std::size_t>(width / kLetterWidth);
        const auto text = top + height + kMargin / 2;
        draw_text(sheet, left, text, cell.title.substr(0, letters), kTitle);
        draw_text(sheet, left, text + kLetterHeight, cell.detail.substr(0, letters), kDetail);
    }
    return sheet;
}

}  // namespace tool
