#ifndef VELMO_WRAPPED_H
#define VELMO_WRAPPED_H

#include <cstddef>
#include <string>

namespace velmo::cli {

/// The words of a text in lines of at most `width` columns, each behind `indent` blanks. A longer
/// word has a line for itself. 0: one line. Control characters become question marks.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t width);

}  // namespace velmo::cli

#endif
