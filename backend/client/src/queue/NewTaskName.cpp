#include "NewTaskName.h"

#include <cstddef>
#include <optional>
#include <tuple>
#include <utility>

namespace velmo::client {

namespace {

using brix::velmo::TaskFileName;

constexpr int kLongestTaskId = 2147483646;
constexpr std::size_t kLongestName = VELMO_NAME_SIZE - 1;

auto partsOf(const TaskFileName& name) {
  return std::tie(name.priority, name.created, name.jobId, name.subJobId, name.taskId,
                  name.relativePriority, name.commandType);
}

}  // namespace

TaskFileName nameOf(const GivenTask& task, int priority, std::string created) {
  TaskFileName name;
  name.priority = priority;
  name.created = std::move(created);
  name.jobId = task.job;
  name.subJobId = task.subJob;
  name.relativePriority = task.relativePriority;
  name.commandType = task.type;
  return name;
}

Outcome checkName(TaskFileName name) {
  name.taskId = kLongestTaskId;
  const std::string text = brix::velmo::formatTaskFileName(name);
  if (text.size() > kLongestName) {
    return Fault{Problem::TaskNameTooLong, std::to_string(text.size())};
  }
  const std::optional<TaskFileName> read = brix::velmo::parseTaskFileName(text);
  if (!read || partsOf(*read) != partsOf(name)) {
    return Fault{Problem::TaskNameAmbiguous, text};
  }
  return std::nullopt;
}

Outcome checkNewName(TaskFileName name, const ServerIdentity& identity) {
  if (name.jobId.empty()) {
    Result<std::string> job = identity.longestJobId();
    if (!job.isOk()) {
      return job.fault();
    }
    name.jobId = std::move(job.value());
  }
  return checkName(std::move(name));
}

}  // namespace velmo::client
