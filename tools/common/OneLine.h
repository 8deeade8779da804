#ifndef VELMO_TOOLS_ONELINE_H
#define VELMO_TOOLS_ONELINE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace velmo::tools {

/// A character of UTF-8.
struct Character {
  std::size_t size = 1;  ///< in bytes
  char32_t code = 0;
  bool isValid = false;  ///< false: a single byte that no character begins with
};

/// The first character of a text.
/// @param text  not empty
Character firstCharacter(std::string_view text);

/// The text with a question mark in place of every control character, and of every byte that is not
/// UTF-8: it stays one line on a terminal, whatever the name of a file contains.
std::string oneLine(std::string_view text);

}  // namespace velmo::tools

#endif
