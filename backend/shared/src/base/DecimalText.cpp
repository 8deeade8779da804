#include "DecimalText.h"

#include <algorithm>

namespace brix::imutils {

// From the last digit to the first. Unsigned, because the smallest long has no positive
// counterpart.
DecimalText::DecimalText(long number, std::size_t width) : m_start(kSize) {
  const bool isNegative = number < 0;
  unsigned long rest =
      isNegative ? 0UL - static_cast<unsigned long>(number) : static_cast<unsigned long>(number);
  do {
    m_text[--m_start] = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);

  const std::size_t widest = std::min(width, kSize);
  const std::size_t padded = kSize - (isNegative && widest > 0 ? widest - 1 : widest);
  while (m_start > padded) {
    m_text[--m_start] = '0';
  }
  if (isNegative) {
    m_text[--m_start] = '-';
  }
}

}  // namespace brix::imutils
