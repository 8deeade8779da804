#include "OneLine.h"

#include <algorithm>

namespace velmo::tools {

namespace {

constexpr char32_t kLastAscii = 0x7f;

bool isPrintableAscii(char character) {
  return character >= ' ' && character <= '~';
}

// Terminals also obey U+0080 to U+009F.
bool isControl(char32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

// How many bytes a character has that begins with this byte; 0: none does.
std::size_t sizeFrom(unsigned char first) {
  if (first <= kLastAscii) {
    return 1;
  }
  if (first < 0xc2 || first > 0xf4) {
    return 0;
  }
  return first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
}

// Whether the encoding is the shortest one, and the character is not a surrogate.
bool isProper(char32_t code, std::size_t size) {
  constexpr char32_t kSmallestOfThree = 0x800;
  constexpr char32_t kSmallestOfFour = 0x10000;
  const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
  const bool isLongForm =
      (size == 3 && code < kSmallestOfThree) || (size == 4 && code < kSmallestOfFour);
  return !isSurrogate && !isLongForm && code <= 0x10ffff;
}

}  // namespace

Character firstCharacter(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t size = sizeFrom(first);
  if (size == 1) {
    return {1, first, true};
  }
  if (size == 0 || size > text.size()) {
    return {};
  }
  char32_t code = first & (0x7fU >> size);
  for (const char byte : text.substr(1, size - 1)) {
    if (!isContinuation(byte)) {
      return {};
    }
    code = code << 6U | (static_cast<unsigned char>(byte) & 0x3fU);
  }
  return isProper(code, size) ? Character{size, code, true} : Character{};
}

std::string oneLine(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), isPrintableAscii)) {
    return std::string(text);
  }
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const bool isShown = character.isValid && !isControl(character.code);
    line += isShown ? text.substr(0, character.size) : "?";
    text.remove_prefix(character.size);
  }
  return line;
}

}  // namespace velmo::tools
