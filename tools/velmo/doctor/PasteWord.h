#ifndef VELMO_PASTEWORD_H
#define VELMO_PASTEWORD_H

#include <string>
#include <string_view>

namespace velmo::cli {

/// Whether a character is one of ASCII that a terminal shows.
bool isPrintable(char character);

/// A text as one word of a shell command, in printable ASCII, so that it can be shown on any
/// terminal and pasted: in single quotes, or as `"$(printf '...')"` if it has other bytes. A text
/// that ends with a line feed, which no such word can stand for, yields an empty string.
std::string pasteWord(std::string_view text);

}  // namespace velmo::cli

#endif
