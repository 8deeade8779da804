#ifndef VELMO_STANDIN_TASKQUEUE_H
#define VELMO_STANDIN_TASKQUEUE_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace standin {

/// Tells one file from another that came under the same name, or the same with other contents.
struct FileIdentity {
  bool isRegular = false;
  ino_t inode = 0;
  std::int64_t modifiedNanoseconds = 0;  ///< 0 for anything but a regular file

  bool operator==(const FileIdentity& other) const;
};

/// The queue directory, and a watch on it.
class TaskQueue {
 public:
  /// Begins to watch.
  /// @throws std::system_error
  explicit TaskQueue(std::filesystem::path directory);

  /// A descriptor that is readable once something was put into the directory. What lay there before
  /// does not count.
  int watchDescriptor() const;

  /// Forgets what the watch has told so far. For callers that look at names() next.
  void clearWatch();

  /// All names in the directory in byte order, which is the order of urgency.
  /// @throws std::filesystem::filesystem_error  when the directory cannot be read
  std::vector<std::string> names() const;

  /// @return nothing when there is no such file (any more)
  std::optional<FileIdentity> identify(const std::string& name) const;

  /// The whole contents of a regular file.
  /// @throws std::system_error
  std::string read(const std::string& name) const;

  /// Takes a file out of the queue. One that is gone already is no failure.
  /// @throws std::system_error
  void remove(const std::string& name);

 private:
  std::filesystem::path m_directory;
  FileDescriptor m_watch;
};

}  // namespace standin

#endif
