#include "Report.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace standin {

namespace {

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7f;
}

}  // namespace

std::string reportLine(std::string_view text) {
  std::string line = "velmo-standin: ";
  line += text;
  std::replace_if(line.begin(), line.end(), isControl, '?');
  return line + "\n";
}

void report(std::string_view text) {
  const std::string line = reportLine(text);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

void reportOutput(std::string_view line) {
  const std::string text = "velmo-standin: | " + std::string(line) + "\n";
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t written = write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0) {
      return;
    }
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::system_error systemError(const std::string& what) {
  return {errno, std::generic_category(), what};
}

}  // namespace standin
