#include "GivenRequest.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "GivenTask.h"

namespace velmo::client {

namespace {

Outcome checkUtf8(const GivenTask& task) {
  const std::initializer_list<std::pair<const char*, std::string_view>> texts{
      {"priority_class", task.priorityClass},
      {"command", task.command},
      {"adjustment", task.adjustment},
      {"job", task.job},
      {"sub_job", task.subJob},
      {"information", task.information}};
  for (const auto& [name, text] : texts) {
    if (!isUtf8(text)) {
      return Fault{Problem::ArgumentNotUtf8, name};
    }
  }
  return std::nullopt;
}

}  // namespace

Result<RequestFields> takeRequest(const velmo_task* task) {
  Result<GivenTask> taken = takeTask(task);
  if (!taken.isOk()) {
    return std::move(taken.fault());
  }
  const GivenTask& given = taken.value();
  if (given.type != "sh" && given.type != "java") {
    return Fault{Problem::TypeNotSendable, std::string(given.type)};
  }
  if (Outcome outcome = checkUtf8(given)) {
    return *std::move(outcome);
  }
  return RequestFields{given.priorityClass,
                       given.command,
                       given.type == "sh" ? WireTaskType::ShellScript : WireTaskType::JavaClass,
                       given.adjustment,
                       given.job,
                       given.subJob,
                       given.information,
                       given.relativePriority};
}

}  // namespace velmo::client
