#ifndef VELMO_TOOLS_SHELLWORD_H
#define VELMO_TOOLS_SHELLWORD_H

#include <string>
#include <string_view>

namespace velmo::tools {

/// A text in single quotes, which a shell reads back unchanged.
std::string shellQuoted(std::string_view text);

/// The same, without the quotes if the text needs none.
std::string shellWord(std::string_view text);

}  // namespace velmo::tools

#endif
