#pragma once

#include <string>
#include <string_view>

// Everything the command says to people goes to stderr, through here.
namespace tool {

void set_quiet(bool quiet);
bool is_quiet();

void say_error(std::string_view text);
/// Silent with --quiet, as are status lines.
void say_note(std::string_view text);

/// Replaces the one line at the bottom of a terminal; empty text removes it. Nothing is said when
/// stderr is not a terminal.
void show_status(std::string_view text);
bool status_visible();

/// A name of a file as it may stand in a message: control characters, which a terminal would obey,
/// become \\x1b and the like, and an empty name ''.
std::string shown(std::string_view name);

/// "1 picture", "2 pictures".
std::string counted(long long count, const std::string& what);

/// A word of a command that people copy into their shell: quoted where the shell would read it
/// otherwise.
std::string shell_word(std::string_view word);

/// Text as a JSON string, quotes included. Bytes that are no UTF-8 become U+FFFD.
std::string json_string(std::string_view text);

}  // namespace tool
