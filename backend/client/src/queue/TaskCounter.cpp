#include "TaskCounter.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <string>

#include "Holder.h"
#include "Numbering.h"

namespace velmo::client {

namespace {

// The platform leaves the declaration of semctl's last argument to its callers.
union SemaphoreArgument {
  int value;
  semid_ds* status;
};

bool isRemoved(int error) {
  return error == EIDRM || error == EINVAL;
}

/// The semaphore of the task counter.
class Semaphore {
 public:
  explicit Semaphore(int key) : m_key(key) {}

  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// Releases it silently, if it is held.
  ~Semaphore() {
    if (m_isHeld) {
      operate(1, nullptr);
    }
  }

  Outcome find();

  /// Takes it if it is free.
  Outcome tryTake();

  bool isHeld() const {
    return m_isHeld;
  }

  /// Waits for it.
  Outcome take(const Wait& wait);

  Outcome release();

 private:
  Outcome checkSize();
  Outcome checkWasReady() const;
  Outcome timedOut() const;
  int operate(int change, const timespec* limit);

  Fault fault(Problem problem, int error = 0) const {
    return Fault{problem, std::to_string(m_key), {}, error};
  }

  Fault failed(int error) const {
    return fault(isRemoved(error) ? Problem::SemaphoreRemoved : Problem::SemaphoreFailed, error);
  }

  int m_key;
  int m_id = -1;
  bool m_isHeld = false;
};

Outcome Semaphore::find() {
  m_id = semget(m_key, 1, 0);
  if (m_id < 0) {
    const int error = errno;
    return error == ENOENT ? fault(Problem::SemaphoreMissing)
                           : fault(Problem::SemaphoreFailed, error);
  }
  return checkSize();
}

// A set with more semaphores belongs to another program.
Outcome Semaphore::checkSize() {
  semid_ds status{};
  SemaphoreArgument argument{};
  argument.status = &status;
  if (semctl(m_id, 0, IPC_STAT, argument) != 0) {
    return failed(errno);
  }
  if (status.sem_nsems != 1) {
    return Fault{Problem::SemaphoreSetTooLarge, std::to_string(m_key),
                 std::to_string(status.sem_nsems)};
  }
  return std::nullopt;
}

// Changes the value, without a limit at once. Returns 0 or errno.
int Semaphore::operate(int change, const timespec* limit) {
  sembuf operation{};
  operation.sem_op = static_cast<short>(change);
  operation.sem_flg = static_cast<short>(SEM_UNDO | (limit == nullptr ? IPC_NOWAIT : 0));
  const int result =
      limit == nullptr ? semop(m_id, &operation, 1) : semtimedop(m_id, &operation, 1, limit);
  if (result != 0) {
    return errno;
  }
  m_isHeld = change < 0;
  return 0;
}

Outcome Semaphore::tryTake() {
  const int error = operate(-1, nullptr);
  if (error != 0 && error != EAGAIN && error != EINTR) {
    return failed(error);
  }
  return m_isHeld ? std::nullopt : checkWasReady();
}

// The value first: between the two questions, another process may be the first to take it.
Outcome Semaphore::checkWasReady() const {
  const int value = semctl(m_id, 0, GETVAL);
  if (value < 0) {
    return failed(errno);
  }
  semid_ds status{};
  SemaphoreArgument argument{};
  argument.status = &status;
  if (value == 0 && semctl(m_id, 0, IPC_STAT, argument) == 0 && status.sem_otime == 0) {
    return fault(Problem::SemaphoreNeverReady);
  }
  return std::nullopt;
}

Outcome Semaphore::take(const Wait& wait) {
  for (;;) {
    if (wait.isStopped()) {
      return Fault{Problem::Stopped, "the semaphore with the key " + std::to_string(m_key)};
    }
    if (wait.isOver()) {
      return timedOut();
    }
    const timespec slice = wait.slice();
    const int error = operate(-1, &slice);
    if (m_isHeld) {
      return std::nullopt;
    }
    if (error != EAGAIN && error != EINTR) {
      return failed(error);
    }
  }
}

Outcome Semaphore::timedOut() const {
  return Fault{Problem::SemaphoreTimedOut, std::to_string(m_key), describeLastTaker(m_id)};
}

Outcome Semaphore::release() {
  const int error = operate(1, nullptr);
  m_isHeld = false;
  return error != 0 ? Outcome(fault(Problem::SemaphoreNotReleased, error)) : std::nullopt;
}

/// The counter in the shared memory.
class Counter {
 public:
  explicit Counter(int key) : m_key(key) {}

  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  ~Counter() {
    detach();
  }

  Outcome find();

  /// Advances it. The caller holds the semaphore.
  Result<std::int32_t> advance();

 private:
  Outcome attach();
  int detach();
  Fault tooSmall() const;

  Fault fault(Problem problem, int error = 0) const {
    return Fault{problem, std::to_string(m_key), {}, error};
  }

  int m_key;
  int m_id = -1;
  std::int32_t* m_last = nullptr;
};

Outcome Counter::find() {
  m_id = shmget(m_key, sizeof(std::int32_t), 0);
  if (m_id >= 0) {
    return std::nullopt;
  }
  switch (const int error = errno) {
    case ENOENT:
      return fault(Problem::SegmentMissing);
    case EINVAL:
      return tooSmall();
    default:
      return fault(Problem::SegmentFailed, error);
  }
}

Fault Counter::tooSmall() const {
  shmid_ds status{};
  const int id = shmget(m_key, 0, 0);
  if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) {
    return fault(Problem::SegmentFailed, errno);
  }
  return Fault{Problem::SegmentTooSmall, std::to_string(m_key), std::to_string(status.shm_segsz)};
}

Outcome Counter::attach() {
  void* const address = shmat(m_id, nullptr, 0);
  if (reinterpret_cast<std::intptr_t>(address) == -1) {
    const int error = errno;
    return fault(isRemoved(error) ? Problem::SegmentMissing : Problem::SegmentFailed, error);
  }
  m_last = static_cast<std::int32_t*>(address);
  return std::nullopt;
}

int Counter::detach() {
  const void* const address = m_last;
  m_last = nullptr;
  return address == nullptr || shmdt(address) == 0 ? 0 : errno;
}

Result<std::int32_t> Counter::advance() {
  if (Outcome failure = find()) {
    return *std::move(failure);
  }
  if (Outcome failure = attach()) {
    return *std::move(failure);
  }
  // Atomic, though the semaphore orders the accesses: the language does not know about semaphores
  // of the kernel, and the thread sanitizer would report a race.
  const std::int32_t last = __atomic_load_n(m_last, __ATOMIC_ACQUIRE);
  const std::int32_t next = brix::velmo::followingTaskId(last);
  if (next < 0) {
    // Deliberate: older programs issue it. Nobody can read it back from the task's name.
    return Fault{Problem::SegmentNotACounter, std::to_string(m_key), std::to_string(last)};
  }
  __atomic_store_n(m_last, next, __ATOMIC_RELEASE);
  if (const int error = detach()) {
    return fault(Problem::SegmentFailed, error);
  }
  return next;
}

// Takes the semaphore. A service that is not running is reported before a wait, not after it.
Outcome takeSemaphore(Semaphore& semaphore, int segmentKey, const Wait& wait) {
  if (Outcome failure = semaphore.find()) {
    return failure;
  }
  if (Outcome failure = semaphore.tryTake(); failure || semaphore.isHeld()) {
    return failure;
  }
  if (Outcome failure = Counter(segmentKey).find()) {
    return failure;
  }
  return semaphore.take(wait);
}

}  // namespace

Result<std::int32_t> drawTaskId(int segmentKey, int semaphoreKey, const Wait& wait) {
  Semaphore semaphore(semaphoreKey);
  if (Outcome failure = takeSemaphore(semaphore, segmentKey, wait)) {
    return *std::move(failure);
  }
  Result<std::int32_t> taskId = Counter(segmentKey).advance();
  Outcome failure = semaphore.release();
  if (failure && taskId.isOk()) {
    return *std::move(failure);
  }
  return taskId;
}

}  // namespace velmo::client
