#include "NewTaskName.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace velmo::client {

namespace {

using brix::velmo::TaskFileName;

constexpr int kLongestTaskId = 2147483646;
constexpr std::size_t kLongestName = VELMO_NAME_SIZE - 1;

// The bytes of a number that has four digits at least, and its sign among them.
std::size_t sizeOfFourDigits(int number) {
  std::size_t size = number < 0 ? 2 : 1;
  for (int rest = number / 10; rest != 0; rest /= 10) {
    ++size;
  }
  return std::max<std::size_t>(size, 4);
}

// The bytes of the name with the longest task number.
std::size_t longestSizeOf(const TaskFileName& name) {
  constexpr std::string_view kRest = "...S.T-2147483646.R.";
  return kRest.size() + sizeOfFourDigits(name.priority) + 2 * name.created.size() +
         name.jobId.size() + name.subJobId.size() + sizeOfFourDigits(name.relativePriority) +
         name.commandType.size();
}

// Whether "T", the time and "-" occur in the type. Stricter than necessary: it does not look for
// the dot in front.
bool hasTimeMark(const TaskFileName& name) {
  const std::string_view type = name.commandType;
  const std::string_view time = name.created;
  for (std::size_t at = type.find('-'); at != std::string_view::npos; at = type.find('-', at + 1)) {
    const bool isAfterTime = at > time.size() && type.substr(at - time.size(), time.size()) == time;
    if (isAfterTime && type[at - time.size() - 1] == 'T') {
      return true;
    }
  }
  return false;
}

// Whether the name certainly reads back as it is written, judged by its parts: a reader takes the
// last mark with the time as the end of the identifiers, and the last ".S" before it as the start
// of the sub-job. Numbers and the time have no dot.
bool isPlain(const TaskFileName& name) {
  return brix::velmo::isTimestamp(name.created) && !name.jobId.empty() &&
         name.subJobId.find(".S") == std::string::npos && !hasTimeMark(name);
}

auto partsOf(const TaskFileName& name) {
  return std::tie(name.priority, name.created, name.jobId, name.subJobId, name.taskId,
                  name.relativePriority, name.commandType);
}

// Writes the name and reads it, and refuses it if the two differ.
Outcome readBack(TaskFileName name) {
  name.taskId = kLongestTaskId;
  std::string text = brix::velmo::formatTaskFileName(name);
  const std::optional<TaskFileName> read = brix::velmo::parseTaskFileName(text);
  if (!read || partsOf(*read) != partsOf(name)) {
    return Fault{Problem::TaskNameAmbiguous, std::move(text)};
  }
  return std::nullopt;
}

}  // namespace

TaskFileName nameOf(const GivenTask& task, int priority, std::string created) {
  return {priority, std::move(created),    std::string(task.job), std::string(task.subJob),
          0,        task.relativePriority, std::string(task.type)};
}

Outcome checkName(const TaskFileName& name) {
  const std::size_t size = longestSizeOf(name);
  if (size > kLongestName) {
    return Fault{Problem::TaskNameTooLong, std::to_string(size)};
  }
  return isPlain(name) ? std::nullopt : readBack(name);
}

Outcome checkNewName(const TaskFileName& name, const ServerIdentity& identity) {
  if (!name.jobId.empty()) {
    return checkName(name);
  }
  Result<std::string> job = identity.longestJobId();
  if (!job.isOk()) {
    return std::move(job.fault());
  }
  TaskFileName withJob = name;
  withJob.jobId = std::move(job.value());
  return checkName(withJob);
}

}  // namespace velmo::client
