#include "LockAttempt.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace brix::imutils {

namespace {

constexpr int kMode = 0660;

}  // namespace

// The array is not cleared first: each path costs less than clearing 4096 bytes.
LockPath lockPath(const std::string& directory, const std::string& name) {
  LockPath path;
  char* end = path.data();
  for (const std::string_view part :
       {std::string_view(directory.c_str()), std::string_view("/semaphore_"),
        std::string_view(name.c_str())}) {
    const auto room = static_cast<std::size_t>(&path.back() - end);
    const std::size_t size = std::min(part.size(), room);
    std::memcpy(end, part.data(), size);
    end += size;
  }
  *end = '\0';
  return path;
}

LockAttempt attemptLock(const LockPath& path, int openFlags) {
  errno = 0;
  const int descriptor = open(path.data(), openFlags | O_CREAT | O_EXCL, kMode);
  return {descriptor, descriptor < 0 ? errno : 0};
}

}  // namespace brix::imutils
