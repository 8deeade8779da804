#include "IMSemaphore.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "CancellationGuard.h"
#include "IMException.h"

namespace brix::imutils {

namespace {

constexpr int kLockFileMode = 0660;
constexpr int kShortestPauseMs = 10;
constexpr double kPauseRangeMs = 980.0;
constexpr long kNanosecondsPerMs = 1000000;

std::string defaultDirectory() {
  const char* directory = std::getenv("LOCK_VAR");
  return directory != nullptr ? directory : ".";
}

// One more than the platform takes: what is longer is cut to a length that it refuses.
using Path = std::array<char, PATH_MAX + 1>;

// Allocates nothing: a lock is released even when memory has run out.
Path lockFile(const std::string& directory, const std::string& name) {
  Path path{};
  std::snprintf(path.data(), path.size(), "%s/semaphore_%s", directory.c_str(), name.c_str());
  return path;
}

// 32-bit arithmetic that wraps: a budget that does not fit is another budget, never undefined.
int budgetInMs(int timeoutSeconds) {
  return static_cast<int>(static_cast<std::uint32_t>(timeoutSeconds) * 1000U);
}

int drawPauseMs() {
  const int r = std::rand();
  return static_cast<int>(r * kPauseRangeMs * 0x1p-31) + kShortestPauseMs;
}

// An interrupted sleep is not resumed: the pause only keeps waiters apart.
void sleepMs(int milliseconds) {
  const timespec pause{0, milliseconds * kNanosecondsPerMs};
  nanosleep(&pause, nullptr);
}

IMIOException failure(const char* what, const std::string& name, int error) {
  return {error, what + name + " [" + std::strerror(error) + "]"};
}

}  // namespace

IMSemaphore::IMSemaphore(const std::string& name, const std::string& directory, bool autoUnlock)
    : m_name(name),
      m_directory(directory.empty() ? defaultDirectory() : directory),
      m_autoUnlock(autoUnlock),
      m_locked(false),
      m_forceUnlock(false) {}

IMSemaphore::IMSemaphore(const std::string& name, bool autoUnlock)
    : IMSemaphore(name, std::string(), autoUnlock) {}

// Deliberate: an exception that leaves unlock() here ends the process; the implicit noexcept sees
// to it. Do not catch it: nobody would learn that the lock stays taken.
IMSemaphore::~IMSemaphore() {  // NOLINT(bugprone-exception-escape): the reason is above
  if (m_autoUnlock) {
    unlock();
  }
}

// A thread cancelled in open or close would leave a lock file that nobody knows to be its own.
bool IMSemaphore::lockResource() {
  const CancellationGuard guard;
  const Path path = lockFile(m_directory, m_name);
  errno = 0;
  const int descriptor = open(path.data(), O_RDONLY | O_CREAT | O_EXCL, kLockFileMode);
  if (descriptor >= 0) {
    close(descriptor);
    m_locked = true;
    return true;
  }
  const int error = errno;
  if (error == EEXIST) {
    return false;
  }
  throw failure("Creating semaphore failed: ", m_name, error);
}

bool IMSemaphore::lock(int timeoutSeconds) {
  int budgetMs = budgetInMs(timeoutSeconds);
  while (!lockResource()) {
    if (timeoutSeconds < 0 || (timeoutSeconds > 0 && budgetMs <= 0)) {
      throw IMTimeoutException(1, "Semaphore timed out");
    }
    const int pauseMs = drawPauseMs();
    if (timeoutSeconds > 0) {
      budgetMs -= pauseMs;  // the pause planned, not the time that went by
    }
    sleepMs(pauseMs);
  }
  return true;
}

void IMSemaphore::unlock() {
  if (!m_locked && !m_forceUnlock) {
    return;
  }
  const CancellationGuard guard;
  const Path path = lockFile(m_directory, m_name);
  errno = 0;
  const int error = unlink(path.data()) == 0 ? 0 : errno;
  if (error != 0 && error != ENOENT) {
    throw failure("Releasing semaphore failed: ", m_name, error);
  }
  m_locked = false;
}

void IMSemaphore::setForceUnlock(bool forceUnlock) {
  m_forceUnlock = forceUnlock;
}

}  // namespace brix::imutils
