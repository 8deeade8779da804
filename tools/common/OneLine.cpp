#include "OneLine.h"

#include <algorithm>

namespace velmo::tools {

namespace {

constexpr char kLongControl = '\xc2';  // its first byte

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7f;
}

// A control character beyond ASCII as UTF-8: U+0080 to U+009F. Terminals obey these too.
bool isLongControl(std::string_view text) {
  return text.size() >= 2 && text[0] == kLongControl &&
         static_cast<unsigned char>(text[1]) >= 0x80 && static_cast<unsigned char>(text[1]) < 0xa0;
}

}  // namespace

std::string oneLine(std::string_view text) {
  const auto needsCare = [](char character) {
    return isControl(character) || character == kLongControl;
  };
  if (std::none_of(text.begin(), text.end(), needsCare)) {
    return std::string(text);
  }
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const bool isLong = isLongControl(text);
    line += isLong || isControl(text.front()) ? '?' : text.front();
    text.remove_prefix(isLong ? 2 : 1);
  }
  return line;
}

}  // namespace velmo::tools
