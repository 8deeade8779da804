#include "ShellWord.h"

namespace velmo::tools {

namespace {

constexpr std::string_view kPlainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";

}  // namespace

std::string shellQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char character : text) {
    if (character == '\'') {
      quoted += "'\\''";  // a single quote cannot be written between single quotes
    } else {
      quoted += character;
    }
  }
  return quoted + "'";
}

std::string shellWord(std::string_view text) {
  const bool isPlain =
      !text.empty() && text.find_first_not_of(kPlainCharacters) == std::string_view::npos;
  return isPlain ? std::string(text) : shellQuoted(text);
}

}  // namespace velmo::tools
