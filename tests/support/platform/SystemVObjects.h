#ifndef VELMO_TEST_SYSTEMVOBJECTS_H
#define VELMO_TEST_SYSTEMVOBJECTS_H

#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>

namespace velmo::test {

inline bool segmentExists(int key) {
  return shmget(key, 0, 0) >= 0 || errno != ENOENT;
}

inline bool semaphoreExists(int key) {
  return semget(key, 0, 0) >= 0 || errno != ENOENT;
}

}  // namespace velmo::test

#endif
