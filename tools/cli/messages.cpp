#include "cli/messages.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace tool {
namespace {

std::mutex talking;
bool quietly = false;
bool status_shown = false;

bool on_terminal() {
    static const bool terminal = isatty(STDERR_FILENO) == 1;
    return terminal;
}

bool in_color() {
    const char* no_color = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return on_terminal() && (no_color == nullptr || *no_color == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

/// Control characters as \x1b, except those that are kept.
std::string without_controls(std::string_view text, std::string_view kept) {
    std::string out;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if ((code >= 0x20 && code != 0x7F) || kept.find(c) != std::string_view::npos) {
            out += c;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", code);
        out += escape;
    }
    return out;
}

void say(std::string_view label, std::string_view color, std::string_view text) {
    const std::lock_guard lock(talking);
    std::string line;
    if (status_shown) line += "\r\033[K";
    status_shown = false;
    line += "imgcnv: ";
    if (in_color()) line += color;
    line += label;
    if (in_color()) line += "\033[0m";
    line += without_controls(text, "\n");
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Bytes of the UTF-8 sequence at the start of the text; 0 when it is malformed.
std::size_t sequence_length(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0;
    return length;
}

}  // namespace

void set_quiet(bool quiet) { quietly = quiet; }
bool is_quiet() { return quietly; }

void say_error(std::string_view text) { say("error: ", "\033[1;31m", text); }

void say_note(std::string_view text) {
    if (!quietly) say("", "", text);
}

bool status_visible() { return on_terminal() && !quietly; }

void show_status(std::string_view text) {
    if (!status_visible()) return;
    const std::lock_guard lock(talking);
    status_shown = !text.empty();
    std::fprintf(stderr, "\r\033[K%.*s", static_cast<int>(text.size()), text.data());
    std::fflush(stderr);
}

std::string counted(long long count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string shown(std::string_view name) {
    return name.empty() ? "''" : without_controls(name, "");
}

std::string shell_word(std::string_view word) {
    constexpr std::string_view kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
    if (word.size() > 1 && word[0] == '-') return shell_word("./" + std::string(word));
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string_view::npos)
        return std::string(word);
    const bool controls = without_controls(word, "") != word;
    std::string quoted = controls ? "$'" : "'";
    for (const char c : word) {
        if (controls && (c == '\'' || c == '\\'))
            quoted += std::string("\\") + c;
        else if (c == '\'')
            quoted += "'\\''";
        else
            quoted += without_controls({&c, 1}, "");
    }
    return quoted + "'";
}

std::string json_string(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const auto length = sequence_length(text);
        const char c = text[0];
        if (length == 0) {
            out += "\\ufffd";
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[7];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out + '"';
}

}  // namespace tool
