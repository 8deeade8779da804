#ifndef VELMO_GIVENTEXT_H
#define VELMO_GIVENTEXT_H

#include <stdexcept>

namespace brix::imutils {

/// Refuses a null text in the same way on every platform: building a std::string from null is
/// undefined, and the text of the exception that most platforms throw differs between compilers.
/// @return `text`, never null
/// @throws std::logic_error  "basic_string::_M_construct null not valid", if `text` is null
inline const char* givenText(const char* text) {
  if (text == nullptr) {
    // Deliberate: the words of the platform that programs first ran on. Callers compare what() with
    // them, and the manual names them as the sign of a variable that is not set.
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return text;
}

}  // namespace brix::imutils

#endif
