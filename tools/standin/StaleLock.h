#ifndef VELMO_STANDIN_STALELOCK_H
#define VELMO_STANDIN_STALELOCK_H

#include <sys/types.h>

#include <filesystem>
#include <optional>

namespace velmo::standin {

/// The lock file of the job counter as a process leaves it behind that ended while it held the
/// lock: it holds the id of such a process.
class StaleLock {
 public:
  /// Creates the file. One that exists is left as it is: nobody holds the lock of an installation
  /// that starts.
  /// @param directory  of lock files
  /// @throws std::system_error
  explicit StaleLock(const std::filesystem::path& directory);

  StaleLock(const StaleLock&) = delete;
  StaleLock& operator=(const StaleLock&) = delete;

  /// Removes the file that the constructor created, unless another is in its place.
  ~StaleLock();

 private:
  std::filesystem::path m_path;
  std::optional<ino_t> m_inode;  ///< of the file that was created
};

}  // namespace velmo::standin

#endif
