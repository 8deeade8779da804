#include "TaskRow.h"

#include <optional>

#include "LocalTime.h"

namespace velmo::cli {

using Align = TableLayout::Align;

std::vector<TableLayout::Column> taskColumns() {
  return {{"PRIORITY", Align::Right},
          {"AGE", Align::Right},
          {"JOB", Align::Left, true},
          {"SUB-JOB"},
          {"TASK", Align::Right},
          {"REL", Align::Right},
          {"TYPE"}};
}

TableLayout::Column nameColumn() {
  return {"NAME"};
}

TableLayout::Column commandColumn() {
  return {"COMMAND", Align::Left, false, true};
}

std::string ageAt(std::time_t now, const std::string& created) {
  const std::optional<std::time_t> moment = momentOf(created);
  if (!moment) {
    return "?";
  }
  return *moment > now ? "-" + roughly(*moment - now) : roughly(now - *moment);
}

const std::string& TaskRow::age(const std::string& created) {
  if (created != m_created) {
    m_created = created;
    m_age = ageAt(m_now, created);
  }
  return m_age;
}

std::vector<std::string> TaskRow::cells(const TaskName& parts) {
  return {std::to_string(parts.priority),
          age(parts.created),
          parts.job,
          parts.subJob,
          std::to_string(parts.task),
          std::to_string(parts.relativePriority),
          parts.type};
}

}  // namespace velmo::cli
