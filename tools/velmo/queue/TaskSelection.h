#ifndef VELMO_TASKSELECTION_H
#define VELMO_TASKSELECTION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TaskFilter.h"

namespace velmo::cli {

/// The names of the tasks that pass a filter, of which only the first few may be wanted. Keeps no
/// more names than that.
class TaskSelection {
 public:
  /// @param limit  how many at most, 1 or more; none: all
  TaskSelection(TaskFilter filter, std::optional<std::int64_t> limit);

  /// Takes the name of a task. The order does not matter.
  void add(std::string name);

  /// How many tasks passed, whatever the limit.
  std::size_t count() const {
    return m_count;
  }

  /// The names in the order in which the service takes the tasks. The selection is empty
  /// afterwards.
  std::vector<std::string> takeNames();

 private:
  bool passes(const std::string& name);

  TaskFilter m_filter;
  std::size_t m_limit;
  std::vector<std::string> m_names{};  // with a limit a heap, whose top is the last name
  std::size_t m_count = 0;
};

}  // namespace velmo::cli

#endif
