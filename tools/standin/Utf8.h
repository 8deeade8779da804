#ifndef VELMO_STANDIN_UTF8_H
#define VELMO_STANDIN_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace velmo::standin {

/// Whether a text is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// The beginning of a text as well-formed UTF-8: as many whole characters as fit into `limit`
/// bytes. Every byte that is not part of a character becomes a question mark.
std::string utf8Prefix(std::string_view text, std::size_t limit);

}  // namespace velmo::standin

#endif
