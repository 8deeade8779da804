#include "IMMemSemaphore.h"

#include <sys/ipc.h>

#include <array>
#include <cstdio>

#include "SystemLog.h"

namespace brix::imutils {

namespace {

constexpr const char* kLogIdentity = "IMMemSemaphore";
constexpr std::size_t kLogLineSize = 96;  // the longest line has 60 characters
constexpr int kCreateForAll = IPC_CREAT | 0666;

// The fourth argument of semctl, which every program declares for itself.
union SemaphoreArgument {
  int val;
  semid_ds* buf;          // cppcheck-suppress unusedStructMember
  unsigned short* array;  // cppcheck-suppress unusedStructMember
};

// Allocates nothing, because nothing may throw here.
void logNumber(const char* text, int number) {
  std::array<char, kLogLineSize> line{};
  std::snprintf(line.data(), line.size(), "%s%d", text, number);
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
  // Deliberate: the set has no semaphore 1. The kernel ignores the number when it removes a set;
  // programs that interpose semctl see the call that they know.
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
