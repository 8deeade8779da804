#ifndef VELMO_DECIMALTEXT_H
#define VELMO_DECIMALTEXT_H

#include <array>
#include <cstddef>
#include <string_view>

namespace brix::imutils {

/// A number in decimal, as printf writes it with "%ld", or with "%0*ld" and a width: zeros go
/// behind the sign. Allocates nothing and does not depend on the locale.
class DecimalText {
 public:
  /// @param width  least number of characters, the sign included; above 20 it counts as 20
  explicit DecimalText(long number, std::size_t width = 0);

  /// The text, which belongs to this object.
  operator std::string_view() const {
    return {m_text.data() + m_start, kSize - m_start};
  }

 private:
  static constexpr std::size_t kSize = 20;  // of the smallest long

  std::array<char, kSize> m_text;
  std::size_t m_start;
};

}  // namespace brix::imutils

#endif
