#include "MissingTaskCounter.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>

namespace velmo::standin {

namespace {

// @return below 0 if nothing exists under the key
int segmentUnder(int key) {
  return shmget(key, 0, 0);
}

int semaphoreUnder(int key) {
  return semget(key, 0, 0);
}

template <typename Find>
int unusedKey(Find find) {
  for (;;) {
    const int key = randomKey();
    if (find(key) < 0 && errno == ENOENT) {
      return key;
    }
  }
}

}  // namespace

MissingTaskCounter::MissingTaskCounter()
    : m_segmentKey(unusedKey(segmentUnder)), m_semaphoreKey(unusedKey(semaphoreUnder)) {}

MissingTaskCounter::~MissingTaskCounter() {
  if (const int segment = segmentUnder(m_segmentKey); segment >= 0) {
    shmctl(segment, IPC_RMID, nullptr);
  }
  if (const int semaphore = semaphoreUnder(m_semaphoreKey); semaphore >= 0) {
    semctl(semaphore, 0, IPC_RMID);
  }
}

int MissingTaskCounter::segmentKey() const {
  return m_segmentKey;
}

int MissingTaskCounter::semaphoreKey() const {
  return m_semaphoreKey;
}

}  // namespace velmo::standin
