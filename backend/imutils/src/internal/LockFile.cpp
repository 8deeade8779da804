#include "LockFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>

#include "CancellationGuard.h"

namespace brix::imutils {

namespace {

constexpr int kMode = 0660;

// One byte more than the platform accepts: a longer path is truncated to a length that it refuses.
using Path = std::array<char, PATH_MAX + 1>;

Path lockFile(const std::string& directory, const std::string& name) {
  Path path{};
  std::snprintf(path.data(), path.size(), "%s/semaphore_%s", directory.c_str(), name.c_str());
  return path;
}

}  // namespace

// If the thread were cancelled in open or close, it would leave a lock file that no object
// releases.
std::optional<int> createLockFile(const std::string& directory, const std::string& name) {
  const CancellationGuard guard;
  const Path path = lockFile(directory, name);
  errno = 0;
  const int descriptor = open(path.data(), O_RDONLY | O_CREAT | O_EXCL, kMode);
  if (descriptor < 0) {
    return errno;
  }
  close(descriptor);
  return std::nullopt;
}

int removeLockFile(const std::string& directory, const std::string& name) {
  const CancellationGuard guard;
  const Path path = lockFile(directory, name);
  errno = 0;
  const int error = unlink(path.data()) == 0 ? 0 : errno;
  return error == ENOENT ? 0 : error;
}

}  // namespace brix::imutils
