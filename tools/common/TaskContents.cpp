#include "TaskContents.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace velmo::tools {

std::variant<TaskContents, Malformed> parseTaskContents(std::string_view text) {
  if (text.empty()) {
    return Malformed("empty");
  }
  if (text.back() != '\n') {
    return Malformed("no line feed at the end");
  }
  if (text.find('\0') != std::string_view::npos) {
    return Malformed("a NUL in the text");
  }
  const auto lines = std::count(text.begin(), text.end(), '\n');
  if (lines > 2) {
    return fmt::format("{} lines where one or two belong", lines);
  }

  const std::size_t commandEnd = text.find('\n');
  TaskContents contents{std::string(text.substr(0, commandEnd)), std::nullopt};
  if (lines == 2) {
    contents.jobInfo = text.substr(commandEnd + 1, text.size() - commandEnd - 2);
  }
  return contents;
}

}  // namespace velmo::tools
