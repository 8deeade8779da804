#ifndef VELMO_STANDIN_TASKLOG_H
#define VELMO_STANDIN_TASKLOG_H

#include <filesystem>

#include "FileDescriptor.h"

namespace standin {

/// The file that takes what a task writes.
class TaskLog {
 public:
  /// Makes the file, or empties the one that is there. It belongs to the user alone.
  /// @throws std::system_error
  explicit TaskLog(const std::filesystem::path& path);

  /// A descriptor to write to.
  int descriptor() const;

  /// Whether nothing has been written.
  bool isEmpty() const;

  /// Writes what the file holds to standard error: each line behind "velmo-standin: | ", its bytes
  /// as they are.
  void show() const;

 private:
  FileDescriptor m_file;
};

}  // namespace standin

#endif
