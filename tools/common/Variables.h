#ifndef VELMO_TOOLS_VARIABLES_H
#define VELMO_TOOLS_VARIABLES_H

#include <string>
#include <utility>
#include <vector>

namespace velmo::tools {

/// Names and values of environment variables, in the order in which they are shown.
using Variables = std::vector<std::pair<std::string, std::string>>;

/// One line `export NAME='value'` for each variable, for a shell to read. The value may contain any
/// character.
std::string exportLines(const Variables& variables);

/// A process environment ("NAME=value" texts) with these variables set in it.
/// @param environment  the environment to start from; a null pointer ends it
std::vector<std::string> environmentWith(const Variables& variables,
                                         const char* const* environment);

}  // namespace velmo::tools

#endif
