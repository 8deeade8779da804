#ifndef VELMO_TOOLS_ONELINE_H
#define VELMO_TOOLS_ONELINE_H

#include <string>
#include <string_view>

namespace velmo::tools {

/// The text with a question mark in place of every control character: it stays one line on a
/// terminal, whatever the name of a file contains.
std::string oneLine(std::string_view text);

}  // namespace velmo::tools

#endif
