#ifndef VELMO_IMMEMSEMAPHORE_H
#define VELMO_IMMEMSEMAPHORE_H

/// @file
/// A lock between processes: a System V semaphore.

#include <sys/sem.h>

#include "Export.h"

namespace brix::imutils {

/// A lock between processes, made of a System V semaphore.
///
/// It is a set of one semaphore, found by a numeric key; 1 is free, 0 is taken. The destructor
/// never removes the set. Taking and releasing carry SEM_UNDO, so the kernel releases the lock of a
/// process that dies. Use an object from one thread at a time; threads that exclude each other need
/// separate objects.
///
/// Nothing is thrown. An operation that fails returns false and writes a line with the identity
/// "IMMemSemaphore" to the system log: see libvelmo(7).
///
/// @par Examples
/// The process that creates the lock:
/// @code
/// brix::imutils::IMMemSemaphore semaphore(0x76656c6d, false);
/// if (semaphore.init() && semaphore.lock()) {
///   std::puts("alone");
///   semaphore.unlock();
/// }
/// semaphore.close();
/// @endcode
///
/// @par Caveats
/// - A set that does not exist is created with the value 0: lock() blocks until some process calls
///   init().
/// - The key 0 (IPC_PRIVATE) makes a new set each time, which no other process can reach.
/// - Every user of the machine may use the set, and keep the lock.
class VELMO_EXPORT IMMemSemaphore {
 public:
  /// Finds the set with the key or creates it, open to all users. If that fails, a line is logged
  /// and every operation of the object fails.
  /// @param key         key of the set
  /// @param autoUnlock  whether the destructor calls unlock()
  IMMemSemaphore(int key, bool autoUnlock);

  IMMemSemaphore(const IMMemSemaphore&) = delete;
  IMMemSemaphore& operator=(const IMMemSemaphore&) = delete;

  /// Calls unlock() if `autoUnlock` was true, and ignores its result.
  ~IMMemSemaphore();

  /// Sets the semaphore to 1. Call it once, in the process that creates the set: while another
  /// process holds the lock, this lets a second holder in.
  bool init();

  /// Takes the lock. Blocks without limit while the semaphore is 0.
  /// @return whether the lock was taken. The call fails, for example, if a signal handler runs
  ///         during the wait (even with SA_RESTART), the process is stopped and continued, or the
  ///         set is removed.
  bool lock();

  /// Releases the lock. The caller must hold it: otherwise the call lets a second holder in.
  ///
  /// If the call fails while the set still exists, the semaphore stays at 0. Every lock() then
  /// blocks, in this process too, until this process ends and the kernel releases the lock.
  bool unlock();

  /// Removes the set for all processes. In those that wait, lock() returns false.
  bool close();

 private:
  bool operate(short change);

  int m_semId;
  sembuf m_op;
  bool m_autoUnlock;
};

}  // namespace brix::imutils

#endif
