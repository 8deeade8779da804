#ifndef VELMO_TASKROW_H
#define VELMO_TASKROW_H

#include <velmo/velmo.hpp>

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "Moments.h"
#include "TableLayout.h"

namespace velmo::cli {

/// The columns of a task's parts.
std::vector<TableLayout::Column> taskColumns();

/// The column of a task's name.
TableLayout::Column nameColumn();

/// The column of a task's command, the last. It gets the rest of the line.
TableLayout::Column commandColumn();

/// Makes rows of a table of tasks, whose ages are at one moment.
class TaskRow {
 public:
  explicit TaskRow(std::time_t now) : m_now(now) {}

  /// The cells of taskColumns().
  std::vector<std::string> cells(const TaskName& parts);

 private:
  std::time_t m_now;
  Moments m_moments{};
};

/// How long ago a task was created: "3 min", with a minus sign if its time is in the future; "?" if
/// its time is not a date.
std::string ageAt(std::time_t now, const std::optional<std::time_t>& created);

}  // namespace velmo::cli

#endif
