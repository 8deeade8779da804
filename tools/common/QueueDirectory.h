#ifndef VELMO_TOOLS_QUEUEDIRECTORY_H
#define VELMO_TOOLS_QUEUEDIRECTORY_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmo::tools {

/// Distinguishes a file from another that has come under the same name, and from itself with other
/// contents.
struct FileIdentity {
  bool isRegular = false;
  ino_t inode = 0;
  std::int64_t modifiedNanoseconds = 0;  ///< 0 for anything but a regular file

  bool operator==(const FileIdentity& other) const;
};

/// The directory of task files, VAR/taskqueue. The service and other programs change it at any
/// time, so each call looks again.
class QueueDirectory {
 public:
  explicit QueueDirectory(std::filesystem::path directory);

  /// All names in the directory in byte order, which is the order in which the service takes tasks.
  /// @throws std::filesystem::filesystem_error  if the directory cannot be read
  std::vector<std::string> names() const;

  /// @return nothing if there is no such file
  std::optional<FileIdentity> identify(const std::string& name) const;

  /// The whole contents of a file. Does not follow a link and does not wait for a pipe.
  /// @throws std::system_error
  std::string read(const std::string& name) const;

  /// The same, but at most `limit` bytes.
  std::string readStart(const std::string& name, std::size_t limit) const;

  /// Removes a file from the queue. If it is already gone, the call does nothing.
  /// @throws std::system_error
  void remove(const std::string& name);

 private:
  std::filesystem::path m_directory;
};

}  // namespace velmo::tools

#endif
