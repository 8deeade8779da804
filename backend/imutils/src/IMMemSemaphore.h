#ifndef VELMO_IMMEMSEMAPHORE_H
#define VELMO_IMMEMSEMAPHORE_H

/// @file
/// A lock between processes: a System V semaphore.

#include <sys/sem.h>

#include "Export.h"

namespace brix::imutils {

/// One System V semaphore, known to its users by a numeric key, as a lock between processes.
///
/// Nothing here throws. An operation that fails returns false and writes one line to the system log
/// (identity "IMMemSemaphore", LOG_PID, LOG_LOCAL3, LOG_ERR). Every operation carries SEM_UNDO, so
/// the kernel gives the lock of a process that dies back to the others.
///
/// A set that does not exist, or no longer, is created with the value 0: until some process calls
/// init(), lock() blocks. The key 0 (IPC_PRIVATE) makes a new set each time, which nobody else can
/// reach. Every user of the machine may use the set, and keep it taken.
///
/// One object is used by one thread at a time: threads that lock each other out have one each.
class VELMO_EXPORT IMMemSemaphore {
 public:
  /// Finds the set of one semaphore under `key`, or creates it, open to all users.
  ///
  /// A failure is logged ("Semaphore constructor - semget failed for key%d") and leaves an object
  /// on which every operation fails.
  /// @param key         key of the set, any number; 0 and a set that does not exist: see above
  /// @param autoUnlock  whether the destructor calls unlock()
  IMMemSemaphore(int key, bool autoUnlock);

  IMMemSemaphore(const IMMemSemaphore&) = delete;
  IMMemSemaphore& operator=(const IMMemSemaphore&) = delete;

  /// Calls unlock() if the object was built with auto-unlock, its result ignored. Never removes the
  /// set.
  ~IMMemSemaphore();

  /// Sets the semaphore to 1: free. For the process that creates the set, once; while somebody
  /// holds the lock, this lets a second holder in.
  /// @return false, with the line "Semaphore init - semctl failed for id:%d", when that fails
  bool init();

  /// Takes the lock. Blocks in the kernel, without limit, while the semaphore is 0.
  /// @return false, with the line "Semaphore lock - semop failed for id:%d", when that fails: also
  ///         when a signal handler interrupted the wait, with SA_RESTART or without, the process
  ///         was stopped and continued, or the set was removed
  bool lock();

  /// Releases the lock. The caller must hold it: a call without the lock raises the semaphore above
  /// 1.
  ///
  /// If the call fails while the set still exists, the semaphore stays at 0. Every lock() then
  /// blocks, those of this process too, until this process ends and the kernel gives the lock back.
  /// @return false, with the line "Semaphore unlock - semop failed for id:%d", when that fails
  bool unlock();

  /// Removes the set for all processes; those that wait in lock() get false.
  /// @return false, with the line "Semaphore close - semctl failed for id:%d", when that fails
  bool close();

 private:
  bool operate(short change);

  int m_semId;
  sembuf m_op;
  bool m_autoUnlock;
};

}  // namespace brix::imutils

#endif
