#ifndef VELMO_WHITESPACE_H
#define VELMO_WHITESPACE_H

namespace brix::imutils {

/// Whether a character is white space in the "C" locale (blank, tab, line feed, vertical tab, form
/// feed, carriage return). The locale of the program does not matter: every process splits a line
/// in the same way. False for EOF.
constexpr bool isWhiteSpace(int character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace brix::imutils

#endif
