#include "GroupedNumber.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "WhiteSpace.h"

namespace brix::velmo {

namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool isBlank(char character) {
  return imutils::isWhiteSpace(static_cast<unsigned char>(character));
}

// The number of digits and commas; nothing if there is something else among them, or if the number
// is larger than the limit.
std::optional<std::int64_t> magnitude(const std::string& text, std::size_t start,
                                      std::int64_t limit) {
  std::int64_t number = 0;
  for (std::size_t i = start; i < text.size(); ++i) {
    // Deliberate: a comma behind the last digit of a number that has no room for another one is
    // refused too, as other readers of the file refuse it.
    const bool isGood = text[i] == ',' || isDigit(text[i]);
    if (!isGood || number > limit / 10) {
      return std::nullopt;
    }
    if (text[i] != ',') {
      number = number * 10 + (text[i] - '0');
    }
  }
  return number <= limit ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<int> groupedNumber(const std::string& text) {
  std::size_t start = 0;
  while (start < text.size() && isBlank(text[start])) {
    ++start;
  }
  if (start == text.size()) {
    return std::nullopt;
  }
  const bool isNegative = text[start] == '-';
  if (isNegative || text[start] == '+') {
    ++start;
  }
  // Deliberate: a sign or commas alone are 0.
  const std::int64_t limit = std::int64_t{std::numeric_limits<int>::max()} + (isNegative ? 1 : 0);
  const std::optional<std::int64_t> number = magnitude(text, start, limit);
  if (!number) {
    return std::nullopt;
  }
  return static_cast<int>(isNegative ? -*number : *number);
}

}  // namespace brix::velmo
