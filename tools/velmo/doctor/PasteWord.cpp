#include "PasteWord.h"

#include <fmt/format.h>

#include <algorithm>

#include "ShellWord.h"

namespace velmo::cli {

namespace {

// The format of printf that writes the byte.
std::string printed(char character) {
  if (character == '%') {
    return "%%";
  }
  if (isPrintable(character) && character != '\\' && character != '\'') {
    return {character};
  }
  return fmt::format("\\{:03o}", static_cast<unsigned char>(character));
}

}  // namespace

bool isPrintable(char character) {
  return character >= ' ' && character <= '~';
}

std::string pasteWord(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPrintable)) {
    return tools::shellQuoted(text);
  }
  if (text.back() == '\n') {
    return {};
  }
  std::string format;
  for (const char character : text) {
    format += printed(character);
  }
  const bool isOption = text.front() == '-';
  return std::string("\"$(printf ") + (isOption ? "-- " : "") + "'" + format + "')\"";
}

}  // namespace velmo::cli
