#ifndef VELMO_PROPERTYLINE_H
#define VELMO_PROPERTYLINE_H

#include <cstddef>

namespace brix::imutils {

/// The longest piece of a properties file that counts as one line, with its terminating NUL: a
/// longer line arrives in pieces, and each piece counts as a line.
constexpr std::size_t kPropertyLineSize = 65536;

/// Returns the position of the first character at or after `p` that is not white space, or of the
/// terminating NUL if all are. Returns null if `p` is null.
char* skipWhiteSpaces(char* p);

/// Removes white space at both ends, in place. Returns null if `p` is null.
char* trim(char* p);

/// Replaces every `from` in the text by `to`, in place. Does nothing with a null text.
void replaceAll(char* s, char from, char to);

/// Splits a text in place at the first `separator` at or after `cursor`, and moves `cursor` past
/// it.
/// @return the trimmed text before the separator. Null, and nothing is changed, if there is no
///         separator, the separator is NUL, or `cursor` is null.
char* takeUntil(char*& cursor, char separator);

/// A line of a properties file.
struct PropertyLine {
  enum class Kind {
    Entry,    ///< name and value
    Comment,  ///< or blank
    Skipped,  ///< no "=", or nothing in front of it: readers ignore it
  };
  Kind kind;
  const char* name = nullptr;   ///< of an Entry; never empty
  const char* value = nullptr;  ///< of an Entry; double quotes are blanks
};

/// Splits a line in place. The texts of the result are parts of it.
/// @param line  not null; may end with a line feed
PropertyLine splitPropertyLine(char* line);

}  // namespace brix::imutils

#endif
