#ifndef VELMO_STANDIN_UTF8_H
#define VELMO_STANDIN_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace standin {

/// Whether a text is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// The beginning of a text as well-formed UTF-8: as many whole characters as fit into `limit`
/// bytes, with a question mark in place of every byte that belongs to no character.
std::string utf8Prefix(std::string_view text, std::size_t limit);

}  // namespace standin

#endif
