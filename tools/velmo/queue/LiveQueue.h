#ifndef VELMO_LIVEQUEUE_H
#define VELMO_LIVEQUEUE_H

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "DirectoryWatch.h"
#include "TaskFilter.h"

namespace velmo::cli {

/// The tasks in the queue, followed as they come and go. The kernel reports each change; a change
/// that it does not report, for example on a network file system, is found by the next update().
class LiveQueue {
 public:
  /// Reads the queue.
  /// @param filter  tasks that do not pass are ignored
  /// @throws Error  the queue cannot be read
  LiveQueue(std::string directory, TaskFilter filter);

  /// The tasks in the order in which the service takes them.
  const std::set<std::string>& names() const {
    return m_names;
  }

  /// When a task last came or went; at first, the modification time of the directory.
  std::time_t lastChange() const {
    return m_lastChange;
  }

  /// Readable when update() finds something; -1: call it every second.
  int descriptor() const;

  /// Looks what has changed. A task that came and left since the last call is reported twice.
  /// @return the changes in their order
  /// @throws Error  the directory is gone, or cannot be read
  std::vector<tools::NameChange> update();

 private:
  // Another directory of the same name has another identity.
  struct DirectoryState {
    dev_t device = 0;
    ino_t inode = 0;
    timespec modified{};
  };

  DirectoryState look() const;
  void startWatch();
  bool isTask(const std::string& name);
  void apply(const tools::NameChange& change, std::vector<tools::NameChange>& done);
  void compareWithDirectory(std::vector<tools::NameChange>& done);

  std::string m_directory;
  TaskFilter m_filter;
  std::optional<tools::DirectoryWatch> m_watch{};
  DirectoryState m_state{};
  std::set<std::string> m_names{};
  std::time_t m_lastChange = 0;
};

}  // namespace velmo::cli

#endif
