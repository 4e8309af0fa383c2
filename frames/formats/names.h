#pragma once

#include "support/text.h"

#include <cstddef>
#include <string_view>

namespace frames {

/// A name without what its spellings differ in: lower case, without underscores, dashes, blanks,
/// dots and colons.
class PlainName {
  public:
    explicit PlainName(std::string_view name);
    std::string_view view() const { return {text_, length_}; }

  private:
    char text_[64];
    std::size_t length_ = 0;  // 0 when the name does not fit, which no known one is
};

/// The name without what other software puts before it, such as "v4l2pixfmt".
std::string_view without_prefix(std::string_view plain);

/// `name` without its first `count` characters that are no separators.
std::string_view without_letters(std::string_view name, std::size_t count);

/// Calls `visit` for each word of a list until one returns true.
template <class Visit>
bool any_word(std::string_view list, Visit&& visit) {
    while (!list.empty()) {
        const auto word = list.substr(0, list.find(' '));
        if (!word.empty() && visit(word)) return true;
        list.remove_prefix(word.size() == list.size() ? word.size() : word.size() + 1);
    }
    return false;
}

/// What a user typed, for a text: shortened, without control characters.
void write_quoted(std::string_view name, Text& text);

}  // namespace frames
