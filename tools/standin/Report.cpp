#include "Report.h"

#include <unistd.h>

#include "FileDescriptor.h"
#include "OneLine.h"

namespace velmo::standin {

namespace {

constexpr const char* kPrefix = "velmo-standin: ";

}  // namespace

std::string reportLine(std::string_view text) {
  return kPrefix + tools::oneLine(text) + "\n";
}

void report(std::string_view text) {
  const std::string line = reportLine(text);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

void reportOutput(std::string_view line) {
  tools::writeWhole(STDERR_FILENO, kPrefix + ("| " + std::string(line)) + "\n");
}

}  // namespace velmo::standin
