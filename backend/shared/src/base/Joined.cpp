#include "Joined.h"

#include <algorithm>
#include <cstddef>

namespace brix::imutils {

std::string joined(std::initializer_list<std::string_view> parts) {
  std::size_t size = 0;
  for (const std::string_view part : parts) {
    size += part.size();
  }
  std::string text(size, '\0');
  char* end = text.data();
  for (const std::string_view part : parts) {
    end = std::copy(part.begin(), part.end(), end);
  }
  return text;
}

}  // namespace brix::imutils
