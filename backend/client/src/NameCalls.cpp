#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Call.h"
#include "Fault.h"
#include "GivenTask.h"
#include "TaskFileName.h"
#include "velmo.h"

using brix::velmo::TaskFileName;
using velmo::client::checkIdentifier;
using velmo::client::Fault;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::runCall;
using velmo::client::textOf;

namespace {

constexpr std::size_t kLongestName = VELMO_NAME_SIZE - 1;

void copy(std::string_view text, char* array) {
  std::copy(text.begin(), text.end(), array);
}

velmo_task_name partsOf(const TaskFileName& name) {
  velmo_task_name parts{};
  parts.priority = name.priority;
  parts.task = name.taskId;
  parts.relative_priority = name.relativePriority;
  copy(name.created, parts.created);
  copy(name.jobId, parts.job);
  copy(name.subJobId, parts.sub_job);
  copy(name.commandType, parts.type);
  return parts;
}

}  // namespace

velmo_status velmo_parse_name(const char* name, velmo_task_name* out) {
  return runCall(nullptr, [&]() -> Outcome {
    const std::string_view text = textOf(name);
    const std::optional<TaskFileName> parsed = brix::velmo::parseTaskFileName(text);
    if (text.size() > kLongestName || text.find('/') != std::string_view::npos || !parsed) {
      return Fault{Problem::NotATaskName, std::string(text)};
    }
    if (out != nullptr) {
      *out = partsOf(*parsed);
    }
    return std::nullopt;
  });
}
