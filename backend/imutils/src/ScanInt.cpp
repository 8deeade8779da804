#include "ScanInt.h"

#include <cstdlib>
#include <string>

#include "WhiteSpace.h"

namespace brix::imutils {

namespace {

bool isDigit(int character) {
  return character >= '0' && character <= '9';
}

}  // namespace

std::optional<int> scanInt(const char* text) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text) {
    return std::nullopt;
  }
  return static_cast<int>(value);
}

std::optional<int> scanInt(FILE* file) {
  int next = std::getc(file);
  while (isWhiteSpace(next)) {
    next = std::getc(file);
  }

  std::string number;
  if (next == '+' || next == '-') {
    number += static_cast<char>(next);
    next = std::getc(file);
  }
  for (; isDigit(next); next = std::getc(file)) {
    number += static_cast<char>(next);
  }
  return scanInt(number.c_str());
}

}  // namespace brix::imutils
