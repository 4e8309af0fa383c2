#include "support/text.h"

#include <charconv>
#include <cstring>

namespace frames {

Text& Text::operator<<(std::string_view part) {
    if (buffer_ == nullptr) return *this;
    auto count = part.size();
    const auto left = room_ - 1 - length_;
    if (count > left) {
        count = left;
        // A character of several bytes is cut whole.
        while (count > 0 && (static_cast<unsigned char>(part[count]) & 0xC0) == 0x80) --count;
        room_ = length_ + count + 1;  // what comes later would not follow what was cut
    }
    std::memcpy(buffer_ + length_, part.data(), count);
    length_ += count;
    buffer_[length_] = '\0';
    return *this;
}

Text& Text::operator<<(std::int64_t number) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
}

Text& Text::operator<<(const Count& count) {
    return *this << count.number << " " << count.what << (count.number == 1 ? "" : "s");
}

}  // namespace frames
