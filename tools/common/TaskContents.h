#ifndef VELMO_TOOLS_TASKCONTENTS_H
#define VELMO_TOOLS_TASKCONTENTS_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace velmo::tools {

/// The contents of a task file.
struct TaskContents {
  std::string command;
  std::optional<std::string> jobInfo;
};

/// Why a text cannot be the contents of a task file, for people: "3 lines where one or two belong".
using Malformed = std::string;

/// Parses the contents of a task file: a line with the command and, optionally, a line with the job
/// information, each ended by a line feed. More lines are malformed: a command with a line feed in
/// it would be run only up to there.
std::variant<TaskContents, Malformed> parseTaskContents(std::string_view text);

}  // namespace velmo::tools

#endif
