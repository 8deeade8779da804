#ifndef VELMO_PARSENUMBER_H
#define VELMO_PARSENUMBER_H

#include <charconv>
#include <string_view>
#include <system_error>

namespace velmo::cli {

/// Reads a text, all of it, as a number.
/// @param number  unchanged if the text is not a number, or the number does not fit
/// @param format  nothing, or a std::chars_format
template <typename Number, typename... Format>
bool parseNumber(std::string_view text, Number& number, Format... format) {
  Number read{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, read, format...);
  if (error != std::errc() || stop != end) {
    return false;
  }
  number = read;
  return true;
}

}  // namespace velmo::cli

#endif
