#ifndef VELMO_TASKCOUNTER_H
#define VELMO_TASKCOUNTER_H

#include <sys/sem.h>

#include <cstdint>

#include "Failure.h"

namespace brix::velmo {

/// The identifier that the task counter issues after `last`: up to 2147483646, then 0 again. The
/// largest int itself, which only another program can have written, is followed by the smallest.
std::int32_t followingTaskId(std::int32_t last);

/// The service's task counter: the last identifier issued, in shared memory, and the semaphore that
/// guards it. Both belong to the service. Each operation carries SEM_UNDO, so the kernel releases
/// the semaphore of a process that dies.
class TaskCounter {
 public:
  /// An identifier, unless there is a failure.
  struct Issued {
    std::int32_t taskId;
    Outcome failure;
  };

  /// Finds the semaphore, or creates it with the value 0. See openFailure().
  explicit TaskCounter(int semaphoreKey);

  /// Why there is no semaphore; nothing if there is one. Without one, lock() and unlock() fail.
  Outcome openFailure() const;

  /// Takes the semaphore. Blocks in the kernel, without limit, while it is 0.
  Outcome lock();

  /// Issues the next identifier. The caller holds the semaphore. A segment that does not exist is
  /// created, and its first identifier is 1. After a failed detach the counter has advanced.
  Issued advance(int segmentKey);

  /// Releases the semaphore. Allocates nothing that could fail.
  Outcome unlock();

 private:
  Outcome operate(short change, Step step);

  int m_key;
  int m_semaphore;
  int m_openError;
  sembuf m_operation;
};

}  // namespace brix::velmo

#endif
