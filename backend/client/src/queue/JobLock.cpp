#include "JobLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <optional>
#include <utility>

#include "DecimalText.h"
#include "FileCalls.h"
#include "Holder.h"
#include "Joined.h"
#include "LockAttempt.h"

namespace velmo::client {

namespace {

using brix::imutils::DecimalText;
using brix::imutils::joined;

constexpr const char* kLockName = "velmo_jobid";

// Random pauses from 1 to 20 ms, which keep several waiters apart.
class Pauses {
 public:
  std::int64_t nextNs() {
    constexpr std::uint64_t kShortestNs = 1'000'000;
    constexpr std::uint64_t kRangeNs = 19'000'000;
    return static_cast<std::int64_t>(kShortestNs + next() % kRangeNs);
  }

 private:
  static std::uint64_t seed() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_nsec) ^ (static_cast<std::uint64_t>(gettid()) << 32U);
  }

  // The generator splitmix64.
  std::uint64_t next() {
    m_state += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = m_state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  std::uint64_t m_state = seed();
};

}  // namespace

JobLock::JobLock(std::string directory)
    : m_directory(std::move(directory)), m_path(joined({m_directory, "/semaphore_", kLockName})) {}

JobLock::~JobLock() {
  if (m_descriptor.isOpen() && isFileAt(m_path, m_descriptor.get())) {
    unlink(m_path.c_str());
  }
  forget();
}

Outcome JobLock::take(const Wait& wait) {
  std::optional<Pauses> pauses;  // made only for a lock that is held: it takes system calls
  for (;;) {
    const int error = attempt();
    if (m_descriptor.isOpen()) {
      return std::nullopt;
    }
    if (error != EEXIST && error != EINTR) {
      return notCreated(error);
    }
    if (wait.isStopped()) {
      return Fault{Problem::Stopped, "the lock file \"" + m_path + "\""};
    }
    if (wait.isOver()) {
      return Fault{Problem::LockTimedOut, m_path, describeLockFile(m_path)};
    }
    if (!pauses) {
      pauses.emplace();
    }
    wait.pause(pauses->nextNs());
  }
}

// Signals are blocked before the file can exist, but not during a pause.
int JobLock::attempt() {
  m_signals.emplace();
  const auto attempt = brix::imutils::attemptLock(brix::imutils::lockPath(m_directory, kLockName),
                                                  O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
  m_descriptor = Descriptor(attempt.descriptor);
  if (!m_descriptor.isOpen()) {
    m_signals.reset();
    return attempt.error;
  }
  // Deliberate: a failure is ignored. The file locks without its maker's name, too.
  static_cast<void>(writeAll(m_descriptor.get(), joined({DecimalText(getpid()), "\n"})));
  return 0;
}

Outcome JobLock::notCreated(int error) const {
  if (error == ENOENT || error == ENOTDIR) {
    return Fault{Problem::DirectoryMissing, "LOCK_VAR", m_directory, error};
  }
  return Fault{Problem::LockNotCreated, m_path, {}, error};
}

Outcome JobLock::check() const {
  if (!isFileAt(m_path, m_descriptor.get())) {
    return Fault{Problem::LockTakenAway, m_path};
  }
  return std::nullopt;
}

Outcome JobLock::release() {
  Outcome failure = check();
  if (!failure && unlink(m_path.c_str()) != 0) {
    const int error = errno;
    failure = error == ENOENT ? Fault{Problem::LockTakenAway, m_path}
                              : Fault{Problem::LockNotRemoved, m_path, {}, error};
  }
  forget();
  return failure;
}

void JobLock::forget() {
  m_descriptor.close();
  m_signals.reset();
}

}  // namespace velmo::client
