#ifndef VELMO_STANDIN_TASKCONTENTS_H
#define VELMO_STANDIN_TASKCONTENTS_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace standin {

/// What a task file holds.
struct TaskContents {
  std::string command;
  std::optional<std::string> jobInfo;
};

/// Why a file is not a task file's contents, for people: "3 lines where one or two belong".
using Malformed = std::string;

/// Takes the contents of a task file apart: a line with the command and, optionally, a line with
/// the job information, each ended by a line feed. Nothing else may follow: of a command that was
/// split by a line feed of its own only the first half would be run.
std::variant<TaskContents, Malformed> parseTaskContents(std::string_view text);

}  // namespace standin

#endif
