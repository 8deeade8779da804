#include "ScanInt.h"

#include <cstdlib>
#include <limits>

#include "WhiteSpace.h"

namespace brix::imutils {

namespace {

using Limits = std::numeric_limits<long>;

bool isDigit(int character) {
  return character >= '0' && character <= '9';
}

// Builds the negative number: a long holds one more number below zero than above.
long appendDigit(long negative, int digit) {
  if (negative < (Limits::min() + digit) / 10) {
    return Limits::min();
  }
  return negative * 10 - digit;
}

long withSign(long negative, bool isNegative) {
  if (isNegative) {
    return negative;
  }
  return negative == Limits::min() ? Limits::max() : -negative;
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
  const bool isNegative = next == '-';
  if (next == '+' || next == '-') {
    next = std::getc(file);
  }
  if (!isDigit(next)) {
    return std::nullopt;
  }
  long negative = 0;
  for (; isDigit(next); next = std::getc(file)) {
    negative = appendDigit(negative, next - '0');
  }
  return static_cast<int>(withSign(negative, isNegative));
}

}  // namespace brix::imutils
