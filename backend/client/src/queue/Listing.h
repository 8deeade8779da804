#ifndef VELMO_LISTING_H
#define VELMO_LISTING_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fault.h"
#include "TaskFileName.h"

/// What a listing handle holds. Nothing changes after velmo_list().
struct velmo_listing {
  std::vector<std::string> names;  ///< of tasks, in the order in which the service takes them
};

namespace velmo::client {

/// The names in a directory, in no order, without "." and "..".
struct DirectoryNames {
  std::vector<std::string> names{};
  int error = 0;  ///< the errno of the failure, or 0
};

/// Reads the names in a directory.
DirectoryNames namesIn(const std::string& directory);

/// The parts of a name that a file in the queue can have; nothing if it is not the name of a task.
std::optional<brix::velmo::TaskFileName> parseName(std::string_view name);

/// Calls `take` with the name of each task in a queue, in no order. Files with other names are left
/// out. Keeps nothing in memory.
Outcome eachTask(const std::string& queueDirectory, const std::function<void(std::string)>& take);

/// Lists the tasks in a queue. Files with other names are left out.
Result<velmo_listing> listTasks(const std::string& queueDirectory);

/// Removes a task from a queue.
Outcome cancelTask(const std::string& queueDirectory, const std::string& name);

}  // namespace velmo::client

#endif
