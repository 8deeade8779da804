#include "IMMemSemaphore.h"

#include <sys/ipc.h>

#include <string>

#include "SemaphoreLog.h"

namespace brix::imutils {

namespace {

constexpr int kCreateForAll = IPC_CREAT | 0666;

// The fourth argument of semctl, which every program declares for itself.
union SemaphoreArgument {
  int val;
  semid_ds* buf;          // cppcheck-suppress unusedStructMember
  unsigned short* array;  // cppcheck-suppress unusedStructMember
};

// Nothing may throw here: the text of a number is so short that its string does not allocate.
void logFailure(SemaphoreCall call, int number) {
  logSemaphoreFailure(call, std::to_string(number).c_str());
}

}  // namespace

IMMemSemaphore::IMMemSemaphore(int key, bool autoUnlock)
    : m_semId(semget(key, 1, kCreateForAll)), m_op{0, 0, SEM_UNDO}, m_autoUnlock(autoUnlock) {
  if (m_semId < 0) {
    logFailure(SemaphoreCall::Get, key);
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
    logFailure(SemaphoreCall::Init, m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::lock() {
  if (!operate(-1)) {
    logFailure(SemaphoreCall::Lock, m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::unlock() {
  if (!operate(1)) {
    logFailure(SemaphoreCall::Unlock, m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::close() {
  // Deliberate: the set has no semaphore 1. The kernel ignores the number when it removes a set;
  // programs that interpose semctl see the call that they know.
  if (semctl(m_semId, 1, IPC_RMID) == -1) {
    logFailure(SemaphoreCall::Close, m_semId);
    return false;
  }
  return true;
}

bool IMMemSemaphore::operate(short change) {
  m_op.sem_op = change;
  return semop(m_semId, &m_op, 1) != -1;
}

}  // namespace brix::imutils
