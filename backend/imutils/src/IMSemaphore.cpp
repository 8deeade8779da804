#include "IMSemaphore.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "IMException.h"
#include "LockFile.h"

namespace brix::imutils {

namespace {

constexpr int kShortestPauseMs = 10;
constexpr double kPauseRangeMs = 980.0;
constexpr long kNanosecondsPerMs = 1000000;

std::string defaultDirectory() {
  const char* directory = std::getenv("LOCK_VAR");
  return directory != nullptr ? directory : ".";
}

// Wraps in 32 bits: a product that does not fit gives another budget, never undefined behaviour.
int budgetInMs(int timeoutSeconds) {
  return static_cast<int>(static_cast<std::uint32_t>(timeoutSeconds) * 1000U);
}

int randomPauseMs() {
  const int r = std::rand();
  return static_cast<int>(r * kPauseRangeMs * 0x1p-31) + kShortestPauseMs;
}

// An interrupted sleep is not resumed: the pause only keeps the attempts of several waiters apart.
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

// Deliberate: an exception that leaves unlock() here ends the process, because destructors are
// noexcept. Do not catch it: the program would continue without knowing that the lock is still
// taken.
IMSemaphore::~IMSemaphore() {  // NOLINT(bugprone-exception-escape): the reason is above
  if (m_autoUnlock) {
    unlock();
  }
}

bool IMSemaphore::lockResource() {
  const std::optional<int> error = createLockFile(m_directory, m_name);
  if (error == EEXIST) {
    return false;
  }
  if (error) {
    throw failure("Creating semaphore failed: ", m_name, *error);
  }
  m_locked = true;
  return true;
}

bool IMSemaphore::lock(int timeoutSeconds) {
  int budgetMs = budgetInMs(timeoutSeconds);
  while (!lockResource()) {
    if (timeoutSeconds < 0 || (timeoutSeconds > 0 && budgetMs <= 0)) {
      throw IMTimeoutException(1, "Semaphore timed out");
    }
    const int pauseMs = randomPauseMs();
    if (timeoutSeconds > 0) {
      budgetMs -= pauseMs;  // the planned pause, not the elapsed time
    }
    sleepMs(pauseMs);
  }
  return true;
}

void IMSemaphore::unlock() {
  if (!m_locked && !m_forceUnlock) {
    return;
  }
  if (const int error = removeLockFile(m_directory, m_name)) {
    throw failure("Releasing semaphore failed: ", m_name, error);
  }
  m_locked = false;
}

void IMSemaphore::setForceUnlock(bool forceUnlock) {
  m_forceUnlock = forceUnlock;
}

}  // namespace brix::imutils
