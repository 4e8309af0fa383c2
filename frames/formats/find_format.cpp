#include "formats/find_format.h"

#include "formats/code_text.h"
#include "formats/name_meaning.h"
#include "formats/names.h"
#include "formats/opencv_constants.h"
#include "support/boundary.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace frames {
namespace {

enum AliasFlags : std::uint32_t { Plain = 0, VideoRange = IMGCNV_FRAME_VIDEO_RANGE };

struct Alias {
    std::uint32_t code;
    std::uint32_t flags;
    const char* names;
};

#define ALIAS(code, flags, names) {code, flags, names},
constexpr Alias kAliases[] = {
#include "formats/aliases.def"
};

#define FOREIGN(names, meaning, advice) {sizeof(imgcnv_foreign_format), names, meaning, advice},
constexpr imgcnv_foreign_format kForeign[] = {
#include "formats/foreign_formats.def"
};

std::optional<std::uint32_t> number_in(std::string_view digits, int base) {
    std::uint32_t value = 0;
    const auto* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, base);
    if (digits.empty() || stop != end || error != std::errc()) return std::nullopt;
    return value;
}

/// "0x010C002B"
std::optional<std::uint32_t> marked_code(std::string_view name) {
    if (name.size() < 3 || name[0] != '0' || (name[1] | 0x20) != 'x') return std::nullopt;
    return number_in(name.substr(2), 16);
}

/// What a name is in all lists.
struct Match {
    FoundFormat found;
    FoundFormat other;  ///< a second format that is spelt alike
    const imgcnv_foreign_format* foreign = nullptr;

    explicit operator bool() const { return found.format != nullptr || foreign != nullptr; }

    void add(const Format* format, std::uint32_t flags) {
        if (found.format == nullptr)
            found = {format, flags};
        else if (found.format != format && other.format == nullptr)
            other = {format, flags};
    }
};

/// Searches every list for names that `same` calls the one wanted.
template <class Same>
Match search(const Same& same) {
    Match match;
    for (const auto& format : formats())
        for (const std::string_view names :
             {format.name, format.pfnc, format.gstreamer, format.v4l2, format.ffmpeg, format.ros})
            if (any_word(names, same)) match.add(&format, 0);
    for (const auto& alias : kAliases)
        if (any_word(alias.names, same)) match.add(format_of_code(alias.code), alias.flags);
    for (const auto& foreign : kForeign)
        if (match.foreign == nullptr && any_word(foreign.names, same)) match.foreign = &foreign;
    return match;
}

Match search_code(std::uint32_t code) {
    Match match;
    match.found.format = format_of_code(code);
    if (match.found.format != nullptr) return match;
    return search([&](std::string_view word) { return marked_code(word) == code; });
}

/// Exactly as written first, since pGAA and pgAA are two formats.
Match search_spelling(std::string_view name, std::string_view plain) {
    if (auto match = search([&](std::string_view word) { return word == name; })) return match;
    if (plain.empty()) return {};
    return search([&](std::string_view word) { return PlainName(word).view() == plain; });
}

/// With its prefix first, by which some software has another format than everybody else.
Match search_name(std::string_view name, std::string_view plain) {
    if (auto match = search_spelling(name, plain)) return match;
    const auto bare = without_prefix(plain);
    const auto prefix = plain.size() - bare.size();
    if (prefix > 0)
        if (auto match = search_spelling(without_letters(name, prefix), bare)) return match;
    Match match;
    match.found.format = format_of(meaning_of(bare));
    return match;
}

/// "Y16_BE", "rggb10be": the format is that of the name without its end.
Match search_big_endian(std::string_view plain) {
    Match match;
    if (plain.size() < 4 || !plain.ends_with("be")) return match;
    const auto rest = plain.substr(0, plain.size() - 2);
    const auto found = search_name(rest, rest);
    if (found.found.format != nullptr && has_words(*found.found.format))
        match.found = {found.found.format, found.found.flags | IMGCNV_FRAME_BIG_ENDIAN};
    return match;
}

Match search_digits(std::string_view name) {
    if (const auto code = name.size() == 8 ? number_in(name, 16) : std::nullopt)
        if (auto match = search_code(*code)) return match;
    if (const auto code = number_in(name, 10)) return search_code(*code);
    return {};
}

int letters_apart(std::string_view a, std::string_view b) {
    constexpr std::size_t kMost = 32;
    if (a.size() >= kMost || b.size() >= kMost) return kMost;
    int row[kMost];
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int>(j);
    for (std::size_t i = 0; i < a.size(); ++i) {
        int diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row[b.size()];
}

/// The formats with the least distance, at most four.
template <class Distance>
void write_nearest(Text& text, int most_distance, const Distance& distance_of) {
    int least = most_distance + 1;
    for (const auto& format : formats()) least = std::min(least, distance_of(format));
    text.line();
    if (least > most_distance) {
        text << "names are such as Mono8, BayerRG12Packed, RGB8Packed or YUV422Packed";
        return;
    }
    int written = 0;
    for (const auto& format : formats())
        if (written < 4 && distance_of(format) == least)
            text << (written++ == 0 ? "nearest: " : ", ") << format.name;
}

void explain_unknown(std::string_view name, std::string_view plain, Text& text) {
    text << "unknown format ";
    write_quoted(name, text);
    const auto bare = without_prefix(plain);
    const auto meaning = meaning_of(bare);
    const auto letters = [&](const Format& format) {
        return letters_apart(bare, PlainName(format.name).view());
    };
    if (meaning.kind == NameMeaning::Kind::Unknown)
        return write_nearest(text, static_cast<int>(bare.size() / 3), letters);
    // Of "Mono12Paked" the letters tell what its parts do not.
    constexpr int kLetter = 5;
    write_nearest(text, 999, [&](const Format& format) {
        return distance(meaning, format) + (meaning.is_whole ? 0 : kLetter * letters(format));
    });
}

void explain_foreign(const imgcnv_foreign_format& foreign, Text& text) {
    text << " is not read: " << foreign.meaning;
    text.line() << "what to do: " << foreign.advice;
}

FoundFormat answer(std::string_view name, std::string_view plain, const Match& match, Text& text) {
    if (match.other.format != nullptr) {
        write_quoted(name, text);
        text << " may be " << match.found.format->name << " or " << match.other.format->name
             << ": here upper and lower case differ";
        return {};
    }
    if (match.found.format != nullptr) return match.found;
    if (match.foreign != nullptr) {
        write_quoted(name, text);
        explain_foreign(*match.foreign, text);
    } else {
        explain_unknown(name, plain, text);
    }
    return {};
}

std::string_view trimmed(std::string_view name) {
    while (!name.empty() && (name.front() == ' ' || name.front() == '\t')) name.remove_prefix(1);
    while (!name.empty() && (name.back() == ' ' || name.back() == '\t')) name.remove_suffix(1);
    return name;
}

}  // namespace

std::span<const imgcnv_foreign_format> foreign_formats() { return kForeign; }

void explain_code(std::uint32_t code, Text& text) {
    const auto match = search_code(code);
    if (match.found.format != nullptr) {
        write_code(code, text);
        text << " has the bytes of " << match.found.format->name << ": use ";
        write_code(match.found.format->code, text);
        if ((match.found.flags & IMGCNV_FRAME_VIDEO_RANGE) != 0) text << " with video range";
    } else if (match.foreign != nullptr) {
        write_code(code, text);
        explain_foreign(*match.foreign, text);
    } else {
        text << "no format has the code ";
        write_code(code, text);
    }
}

FoundFormat find_format(std::string_view given, Text& text) {
    const auto name = trimmed(given);
    if (name.empty()) {
        text << "the name of the format is empty";
        return {};
    }
    if (const auto code = marked_code(name)) {
        const auto match = search_code(*code);
        if (match.found.format == nullptr) explain_code(*code, text);
        return match.found;
    }
    const PlainName plain(name);
    auto match = search_digits(name);
    if (!match) match = search_name(name, plain.view());
    if (!match) match = search_big_endian(plain.view());
    if (!match && explain_opencv(name, plain.view(), text)) return {};
    return answer(name, plain.view(), match, text);
}

}  // namespace frames

extern "C" {

int imgcnv_find_format(const char* name, uint32_t* code, uint32_t* flags, char* buffer,
                       size_t buffer_bytes) {
    frames::Text text(buffer, buffer_bytes);
    return frames::guarded(text, [&]() -> int {
        if (name == nullptr || code == nullptr) {
            text << "name and code must not be null";
            return IMGCNV_BAD_ARGUMENT;
        }
        const auto found = frames::find_format(name, text);
        if (found.format == nullptr) return IMGCNV_UNKNOWN_FORMAT;
        *code = found.format->code;
        if (flags != nullptr) *flags |= found.flags;
        return IMGCNV_OK;
    });
}

int imgcnv_foreign_format_count(void) { return static_cast<int>(frames::foreign_formats().size()); }

int imgcnv_foreign_format_at(int index, imgcnv_foreign_format* foreign) {
    if (index < 0 || index >= imgcnv_foreign_format_count()) return IMGCNV_BAD_ARGUMENT;
    const auto& row = frames::foreign_formats()[static_cast<std::size_t>(index)];
    return frames::give(row, foreign) ? IMGCNV_OK : IMGCNV_BAD_ARGUMENT;
}

}  // extern "C"
