#include "LockFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "CancellationGuard.h"
#include "LockAttempt.h"

namespace brix::imutils {

// If the thread were cancelled in open or close, it would leave a lock file that no object
// releases.
std::optional<int> createLockFile(const std::string& directory, const std::string& name) {
  const CancellationGuard guard;
  const LockAttempt attempt = attemptLock(lockPath(directory, name), O_RDONLY);
  if (attempt.descriptor < 0) {
    return attempt.error;
  }
  close(attempt.descriptor);
  return std::nullopt;
}

int removeLockFile(const std::string& directory, const std::string& name) {
  const CancellationGuard guard;
  const LockPath path = lockPath(directory, name);
  errno = 0;
  const int error = unlink(path.data()) == 0 ? 0 : errno;
  return error == ENOENT ? 0 : error;
}

}  // namespace brix::imutils
