#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace frames {

/// "1 byte", "2 bytes".
struct Count {
    std::int64_t number;
    std::string_view what;
};

/// A text in a buffer of the caller: appended to without allocating, cut where the buffer ends and
/// always ended by a zero byte. A null buffer takes everything and keeps nothing.
class Text {
  public:
    Text(char* buffer, std::size_t bytes) : buffer_(bytes == 0 ? nullptr : buffer), room_(bytes) {
        clear();
    }

    void clear() {
        length_ = 0;
        if (buffer_ != nullptr) buffer_[0] = '\0';
    }
    bool empty() const { return length_ == 0; }
    std::string_view view() const { return {buffer_ == nullptr ? "" : buffer_, length_}; }

    Text& operator<<(std::string_view part);
    Text& operator<<(const char* part) { return *this << std::string_view(part); }
    Text& operator<<(std::int64_t number);
    Text& operator<<(const Count& count);
    Text& operator<<(int number) { return *this << static_cast<std::int64_t>(number); }

    /// A new line, which carries further advice.
    Text& line() { return *this << "\n  "; }

  private:
    char* buffer_;
    std::size_t room_;
    std::size_t length_ = 0;
};

}  // namespace frames
