#include "TaskRow.h"

#include "Duration.h"
#include "LocalTime.h"

namespace velmo::cli {

using Align = TableLayout::Align;

std::vector<TableLayout::Column> taskColumns() {
  return {{"PRIORITY", Align::Right}, {"AGE", Align::Right}, {"JOB"}, {"SUB-JOB"},
          {"TASK", Align::Right},     {"REL", Align::Right}, {"TYPE"}};
}

TableLayout::Column nameColumn() {
  return {"NAME"};
}

TableLayout::Column commandColumn() {
  return {"COMMAND", Align::Left, false, true};
}

std::string ageAt(std::time_t now, const std::optional<std::time_t>& created) {
  if (!created) {
    return "?";
  }
  return *created > now ? "-" + client::roughly(*created - now) : client::roughly(now - *created);
}

std::vector<std::string> TaskRow::cells(const TaskName& parts) {
  return {std::to_string(parts.priority),
          ageAt(m_now, m_moments.of(parts.created)),
          parts.job,
          parts.subJob,
          std::to_string(parts.task),
          std::to_string(parts.relativePriority),
          parts.type};
}

}  // namespace velmo::cli
