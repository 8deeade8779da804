#include "LineOutcome.h"

#include <fmt/format.h>

#include "JsonLine.h"
#include "OneLine.h"

namespace velmo::cli {

std::string textLine(std::uint64_t number, const LineOutcome& outcome) {
  const bool isQueued = outcome.status == Status::ok;
  return fmt::format("{}\t{}\t{}\n", number, wordOf(outcome.status),
                     tools::oneLine(isQueued ? outcome.name : outcome.message));
}

std::string jsonLineOf(std::uint64_t number, const LineOutcome& outcome) {
  Json object{{"line", number}, {"status", wordOf(outcome.status)}};
  if (!outcome.name.empty()) {
    object["name"] = outcome.name;
  }
  if (!outcome.message.empty()) {
    object["message"] = outcome.message;
  }
  return jsonLine(object);
}

}  // namespace velmo::cli
