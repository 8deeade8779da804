#ifndef VELMO_QUEUEPLACE_H
#define VELMO_QUEUEPLACE_H

#include <velmo/velmo.hpp>

#include <string>
#include <unordered_map>

namespace velmo::cli {

/// The directory of the queue that the environment describes.
/// @throws Error  VAR is not set, or not an absolute path
std::string queueDirectoryOf(const Installation& installation);

/// Finds names of tasks from what users type: a name, or the number of a task.
class TaskFinder {
 public:
  /// @param directory  of the queue
  explicit TaskFinder(std::string directory);

  /// The name. A text that is not a number is returned unchanged.
  /// @throws Failure  Status::notFound: no task has the number; Status::invalidArgument: several
  ///                  have
  /// @throws Error    the queue cannot be read
  std::string nameOf(const std::string& given);

 private:
  void readQueue();

  std::string m_directory;
  bool m_isRead = false;
  std::unordered_multimap<std::string, std::string> m_names{};  // by number
};

}  // namespace velmo::cli

#endif
