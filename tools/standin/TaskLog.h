#ifndef VELMO_STANDIN_TASKLOG_H
#define VELMO_STANDIN_TASKLOG_H

#include <sys/types.h>

#include <filesystem>

#include "FileDescriptor.h"

namespace velmo::standin {

/// The file that a task's output goes to.
class TaskLog {
 public:
  /// Creates the file, or empties an existing one. Only the user can read and write it.
  /// @throws std::system_error
  explicit TaskLog(const std::filesystem::path& path);

  /// A descriptor to write to.
  int descriptor() const;

  /// Whether nothing has been written.
  bool isEmpty() const;

  /// Writes the contents of this moment to standard error: each line with "velmo-standin: | "
  /// before it, its bytes unchanged.
  void show() const;

 private:
  off_t size() const;

  tools::FileDescriptor m_file;
};

}  // namespace velmo::standin

#endif
