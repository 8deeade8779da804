#ifndef VELMO_TEXTARRAY_H
#define VELMO_TEXTARRAY_H

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "velmo.h"

namespace velmo::client {

/// Copies a text with a terminating NUL into an array of a caller's struct. The text fits.
template <std::size_t Size>
void copyInto(char (&array)[Size], std::string_view text) {
  array[text.copy(array, Size - 1)] = '\0';
}

/// Copies a name or an identifier into a caller's array of VELMO_NAME_SIZE. The text fits.
/// @param array  may be null
inline void copyName(char* array, std::string_view text) {
  if (array != nullptr) {
    array[text.copy(array, VELMO_NAME_SIZE - 1)] = '\0';
  }
}

/// The text in an array of a caller's struct: all of it, if it is not terminated.
template <std::size_t Size>
std::string textIn(const char (&array)[Size]) {
  return {array, strnlen(array, Size)};
}

}  // namespace velmo::client

#endif
