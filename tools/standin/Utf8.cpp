#include "Utf8.h"

namespace velmo::standin {

namespace {

// The size of a character by its first byte, and the range of its second byte. The narrower ranges
// exclude overlong characters, surrogates, and characters beyond U+10FFFF.
struct Lead {
  std::size_t size;
  unsigned char first;
  unsigned char last;
  unsigned char secondFirst;
  unsigned char secondLast;
};

constexpr Lead kLeads[] = {
    {1, 0x00, 0x7f, 0x00, 0x00}, {2, 0xc2, 0xdf, 0x80, 0xbf}, {3, 0xe0, 0xe0, 0xa0, 0xbf},
    {3, 0xe1, 0xec, 0x80, 0xbf}, {3, 0xed, 0xed, 0x80, 0x9f}, {3, 0xee, 0xef, 0x80, 0xbf},
    {4, 0xf0, 0xf0, 0x90, 0xbf}, {4, 0xf1, 0xf3, 0x80, 0xbf}, {4, 0xf4, 0xf4, 0x80, 0x8f},
};

bool isWithin(char character, unsigned char first, unsigned char last) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= first && byte <= last;
}

bool hasCharacter(std::string_view text, const Lead& lead) {
  if (text.size() < lead.size) {
    return false;
  }
  if (lead.size > 1 && !isWithin(text[1], lead.secondFirst, lead.secondLast)) {
    return false;
  }
  for (std::size_t i = 2; i < lead.size; ++i) {
    if (!isWithin(text[i], 0x80, 0xbf)) {
      return false;
    }
  }
  return true;
}

// @param text  not empty
// @return the size of the character at its beginning; 0: there is none
std::size_t characterSize(std::string_view text) {
  for (const Lead& lead : kLeads) {
    if (isWithin(text.front(), lead.first, lead.last)) {
      return hasCharacter(text, lead) ? lead.size : 0;
    }
  }
  return 0;
}

}  // namespace

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t size = characterSize(text);
    if (size == 0) {
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

std::string utf8Prefix(std::string_view text, std::size_t limit) {
  std::string prefix;
  while (!text.empty()) {
    const std::size_t size = characterSize(text);
    const std::string_view character = size == 0 ? "?" : text.substr(0, size);
    if (prefix.size() + character.size() > limit) {
      return prefix;
    }
    prefix += character;
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return prefix;
}

}  // namespace velmo::standin
