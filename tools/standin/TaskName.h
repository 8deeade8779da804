#ifndef VELMO_STANDIN_TASKNAME_H
#define VELMO_STANDIN_TASKNAME_H

#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// What the name of a task file says about its task.
struct TaskName {
  int priority = 0;          ///< smaller is more urgent; may be negative or beyond 9999
  std::string created;       ///< local time of creation, fourteen digits from year to second
  std::string jobId;         ///< never empty
  std::string subJobId;      ///< may be empty
  int taskId = 0;            ///< 0 or above
  int relativePriority = 0;  ///< any number
  std::string commandType;   ///< "sh" for shell commands; may be empty
};

/// Takes the name of a task file apart, for example
/// "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh".
///
/// Identifiers may hold dots and hyphens. Where that leaves a choice, the last ".S" begins the
/// sub-job identifier: a job identifier may hold a host name, and so has dots more often.
/// @return nothing when the name is not one that a task file can have
std::optional<TaskName> parseTaskName(std::string_view name);

/// The fields of a name for people: "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job
/// 0, task 731, relative 2, type sh".
std::string describe(const TaskName& name);

}  // namespace standin

#endif
