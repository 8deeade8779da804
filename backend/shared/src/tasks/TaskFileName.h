#ifndef VELMO_TASKFILENAME_H
#define VELMO_TASKFILENAME_H

#include <optional>
#include <string>
#include <string_view>

namespace brix::velmo {

/// The parts of a task file's name. The service sorts and identifies tasks by them alone.
struct TaskFileName {
  int priority = 0;          ///< smaller is more urgent; may be negative or beyond 9999
  std::string created;       ///< local time of creation, fourteen digits from year to second
  std::string jobId;         ///< never empty in a name that was parsed
  std::string subJobId;      ///< may be empty
  int taskId = 0;            ///< 0 or above in a name that was parsed
  int relativePriority = 0;  ///< any number
  std::string commandType;   ///< "sh" for shell commands; may be empty
};

/// The name, for example "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh": priority, time,
/// job, S and sub-job, T and the time again, task, R and relative priority, command type.
std::string formatTaskFileName(const TaskFileName& name);

/// The inverse of formatTaskFileName().
///
/// Identifiers may hold dots and hyphens. If a name can be read in several ways, the last ".S"
/// begins the sub-job identifier: job identifiers contain dots more often, because they may begin
/// with a host name.
/// @return nothing if no task file can have this name
std::optional<TaskFileName> parseTaskFileName(std::string_view name);

/// Whether a text is a time in the form that names use, of fourteen digits.
bool isTimestamp(std::string_view text);

/// The current local time in the form that names use.
std::string currentTimestamp();

/// The sub-job identifier of a child task: the number before the parent's first underscore raised
/// by one, the rest, and "_" and the suffix. "3_x" and "y" give "4_x_y". Text that is not a number
/// counts as 0.
/// @param childSuffix  null: nothing is appended
/// @return nothing if the parent has no underscore
std::optional<std::string> childSubJobId(const std::string& parent, const char* childSuffix);

}  // namespace brix::velmo

#endif
