#ifndef VELMO_TASKFILTER_H
#define VELMO_TASKFILTER_H

#include <velmo/velmo.hpp>

#include <ctime>
#include <optional>
#include <string>

#include "Moments.h"

namespace velmo::cli {

/// Which tasks of the queue a command shows. Judges by the name alone.
struct TaskFilter {
  std::optional<std::string> job{};
  std::optional<std::string> subJob{};
  std::optional<std::string> type{};
  std::optional<std::time_t> createdBefore{};  ///< this moment or earlier
  Moments moments{};                           ///< known from former tasks

  bool isEmpty() const;

  /// Whether a task passes. A name whose time is not a date does not pass createdBefore.
  bool passes(const TaskName& parts);
};

}  // namespace velmo::cli

#endif
