#include "LockAttempt.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>

namespace brix::imutils {

namespace {

constexpr int kMode = 0660;

}  // namespace

LockPath lockPath(const std::string& directory, const std::string& name) {
  LockPath path{};
  std::snprintf(path.data(), path.size(), "%s/semaphore_%s", directory.c_str(), name.c_str());
  return path;
}

LockAttempt attemptLock(const LockPath& path, int openFlags) {
  errno = 0;
  const int descriptor = open(path.data(), openFlags | O_CREAT | O_EXCL, kMode);
  return {descriptor, descriptor < 0 ? errno : 0};
}

}  // namespace brix::imutils
