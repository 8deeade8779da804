#ifndef VELMO_INPUTSTRUCT_H
#define VELMO_INPUTSTRUCT_H

#include <algorithm>
#include <cstddef>
#include <string>

#include "Fault.h"

namespace velmo::client {

/// Checks the size of a struct that a caller gives. A caller that was compiled with a later header
/// may give a larger one, as long as it uses none of the later fields: their bytes are all 0.
/// @param given  not null
/// @param name   for the text of a failure
template <typename Struct>
Outcome checkSize(const Struct* given, const char* name) {
  constexpr std::size_t kMost = 65536;  // beyond any future struct: an uninitialised size
  if (given->size < sizeof(Struct)) {
    return Fault{Problem::StructTooSmall, name, std::to_string(given->size)};
  }
  const char* bytes = reinterpret_cast<const char*>(given);
  const auto isZero = [](char byte) { return byte == 0; };
  if (given->size > kMost || !std::all_of(bytes + sizeof(Struct), bytes + given->size, isZero)) {
    return Fault{Problem::StructNotUnderstood, name, std::to_string(given->size)};
  }
  return std::nullopt;
}

}  // namespace velmo::client

#endif
