#ifndef VELMO_STANDIN_ENVIRONMENT_H
#define VELMO_STANDIN_ENVIRONMENT_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace standin {

/// Names and values of environment variables, in the order in which they are shown.
using Variables = std::vector<std::pair<std::string, std::string>>;

/// A text as a shell reads it back: in single quotes, unless it needs none.
std::string shellWord(std::string_view text);

/// One line `export NAME='value'` for each variable, for a shell to read. The quotes hold whatever
/// the value holds.
std::string exportLines(const Variables& variables);

/// A process environment ("NAME=value" texts): the given one, ended by a null pointer, with these
/// variables set in it.
std::vector<std::string> environmentWith(const Variables& variables,
                                         const char* const* environment);

}  // namespace standin

#endif
