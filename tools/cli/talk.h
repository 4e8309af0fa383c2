#pragma once

#include <string>
#include <string_view>

// Everything the command says to people goes to stderr, through here.
namespace tool {

void setQuiet(bool quiet);
bool isQuiet();

void sayError(std::string_view text);
/// Silent with --quiet, as are status lines.
void sayNote(std::string_view text);

/// Replaces the one line at the bottom of a terminal; empty text removes it. Nothing is said when
/// stderr is no terminal.
void showStatus(std::string_view text);
bool statusVisible();

/// Text as a JSON string, quotes included. Bytes that are no UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace tool
