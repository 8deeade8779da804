#ifndef VELMO_SCANINT_H
#define VELMO_SCANINT_H

#include <cstdio>
#include <optional>

namespace brix::imutils {

/// Reads a decimal number from the start of `text` as scanf's "%d" does, with every outcome
/// defined: white space, a sign and digits. Any text may follow them. A number beyond the range of
/// a long counts as the nearest long, and the result is that long cut to its lower 32 bits, so
/// "99999999999999999999" gives -1.
///
/// @return nothing if there are no digits
std::optional<int> scanInt(const char* text);

/// The same from the current position of `file`. Consumes the number and the character after it. A
/// read that fails counts as the end of the file.
std::optional<int> scanInt(FILE* file);

}  // namespace brix::imutils

#endif
