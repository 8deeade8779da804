#ifndef VELMO_WHITESPACE_H
#define VELMO_WHITESPACE_H

namespace brix::imutils {

/// Whether a character is white space in the "C" locale (blank, tab, line feed, vertical tab, form
/// feed, carriage return). The locale of the program around the library has no say: a line is
/// split the same way in every process. False for EOF.
constexpr bool isWhiteSpace(int character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace brix::imutils

#endif
