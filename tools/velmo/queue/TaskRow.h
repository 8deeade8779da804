#ifndef VELMO_TASKROW_H
#define VELMO_TASKROW_H

#include <velmo/velmo.hpp>

#include <ctime>
#include <string>
#include <vector>

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
  const std::string& age(const std::string& created);

  std::time_t m_now;
  // Tasks that follow each other often have the same time.
  std::string m_created{};
  std::string m_age{};
};

/// How long ago a task was created: "3 min", with a minus sign if its time is in the future; "?" if
/// its time is not a date.
/// @param created  14 digits
std::string ageAt(std::time_t now, const std::string& created);

}  // namespace velmo::cli

#endif
