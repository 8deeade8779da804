#include "TaskDescription.h"

#include <fmt/format.h>

#include <string_view>

namespace velmo::tools {

std::string describe(const TaskName& name) {
  const std::string_view time = name.created;
  return fmt::format(
      "priority {:04d}, created {}-{}-{} {}:{}:{}, job {}, sub-job {}, task {}, relative {}, type "
      "{}",
      name.priority, time.substr(0, 4), time.substr(4, 2), time.substr(6, 2), time.substr(8, 2),
      time.substr(10, 2), time.substr(12, 2), name.job, name.subJob, name.task,
      name.relativePriority, name.type);
}

}  // namespace velmo::tools
