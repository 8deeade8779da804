#include "OneLine.h"

#include <algorithm>

namespace velmo::tools {

namespace {

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7f;
}

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line(text);
  std::replace_if(line.begin(), line.end(), isControl, '?');
  return line;
}

}  // namespace velmo::tools
