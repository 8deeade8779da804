#include "ScanInt.h"

#include <cstddef>
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

// A number of at most this many digits fits into a long.
constexpr std::ptrdiff_t kMostDigits = 18;

// The usual number, a sign and a few digits, without the cost of strtol.
std::optional<long> scanUsual(const char* text) {
  const bool isNegative = *text == '-';
  const char* const start = isNegative ? text + 1 : text;
  const char* end = start;
  unsigned long value = 0;
  for (; isDigit(*end); ++end) {
    value = value * 10 + static_cast<unsigned long>(*end - '0');  // may wrap beyond kMostDigits
  }
  if (end == start || end - start > kMostDigits) {
    return std::nullopt;
  }
  return isNegative ? -static_cast<long>(value) : static_cast<long>(value);
}

}  // namespace

std::optional<int> scanInt(const char* text) {
  if (const std::optional<long> usual = scanUsual(text)) {
    return static_cast<int>(*usual);
  }
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
