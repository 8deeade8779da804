#include "IMMemSemaphore.h"

#include <sys/ipc.h>

#include <array>
#include <cstdio>

#include "CancellationGuard.h"
#include "SystemLog.h"

namespace brix::imutils {

namespace {

constexpr const char* kLogIdentity = "IMMemSemaphore";
constexpr int kCreateForAll = IPC_CREAT | 0666;

// The fourth argument of semctl, which every program declares for itself.
union SemaphoreArgument {
  int val;
  semid_ds* buf;          // cppcheck-suppress unusedStructMember
  unsigned short* array;  // cppcheck-suppress unusedStructMember
};

constexpr std::size_t kLogLineSize = 96;  // the longest line has 60 characters

// Allocates nothing, since nothing may be thrown here.
void logNumber(const char* what, int number) {
  std::array<char, kLogLineSize> line{};
  std::snprintf(line.data(), line.size(), "%s%d", what, number);
  logError(kLogIdentity, line.data());
}

}  // namespace

IMMemSemaphore::IMMemSemaphore(int key, bool autoUnlock)
    : m_semId(semget(key, 1, kCreateForAll)), m_op{0, 0, SEM_UNDO}, m_autoUnlock(autoUnlock) {
  if (m_semId < 0) {
    logNumber("Semaphore constructor - semget failed for key", key);
  }
}

IMMemSemaphore::~IMMemSemaphore() {
  if (m_autoUnlock) {
    const CancellationGuard guard;  // a failure is logged, and nothing may leave here
    unlock();
  }
}

bool IMMemSemaphore::init() {
  SemaphoreArgument argument{};
  argument.val = 1;
  if (semctl(m_semId, 0, SETVAL, argument) < 0) {
    logNumber("Semaphore init - semctl failed for id:", m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::lock() {
  if (!operate(-1)) {
    logNumber("Semaphore lock - semop failed for id:", m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::unlock() {
  if (!operate(1)) {
    logNumber("Semaphore unlock - semop failed for id:", m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::close() {
  // Deliberate: there is no semaphore 1 in the set; the number does not count when a set is
  // removed.
  if (semctl(m_semId, 1, IPC_RMID) == -1) {
    logNumber("Semaphore close - semctl failed for id:", m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::operate(short change) {
  m_op.sem_op = change;
  return semop(m_semId, &m_op, 1) != -1;
}

}  // namespace brix::imutils
