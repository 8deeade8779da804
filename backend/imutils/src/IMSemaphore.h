#ifndef VELMO_IMSEMAPHORE_H
#define VELMO_IMSEMAPHORE_H

/// @file
/// A lock between processes: a lock file.

#include <string>

#include "Export.h"

namespace brix::imutils {

/// A lock between processes, made of a lock file. The process that creates the file holds the lock,
/// and removes the file to release it.
///
/// The file is DIRECTORY/semaphore_NAME, empty, mode 0660 less the umask. A relative directory is
/// resolved at each attempt. Two objects with the same name and directory exclude each other, in
/// one process or in two. One object is used by one thread at a time. If memory runs out, its
/// functions throw std::bad_alloc.
///
/// @par Examples
/// @code
/// brix::imutils::IMSemaphore semaphore("report", "/run/lock", false);
/// semaphore.lock(10);
/// std::puts("alone");
/// semaphore.unlock();
/// @endcode
///
/// @par Caveats
/// - If a holder dies, its file stays, and nobody can take the lock until the file is deleted.
/// - fork(2) copies the object with its lock. If the child unlocks or destroys its copy, it removes
///   the parent's lock file. Leave such a child with _exit(2), since exit(3) destroys static
///   objects.
/// - A thread that is cancelled while it takes the lock either holds it or leaves no file. The
///   pauses of lock() can be cancelled.
class VELMO_EXPORT IMSemaphore {
 public:
  /// Touches no file.
  /// @param name        name of the lock; not checked
  /// @param directory   directory of the lock file; empty: as the other constructor
  /// @param autoUnlock  whether the destructor calls unlock()
  IMSemaphore(const std::string& name, const std::string& directory, bool autoUnlock);

  /// Takes the directory from the environment variable LOCK_VAR, which is read here only. Not set:
  /// the current directory. Empty: the root directory.
  IMSemaphore(const std::string& name, bool autoUnlock);

  IMSemaphore(const IMSemaphore&) = delete;
  IMSemaphore& operator=(const IMSemaphore&) = delete;

  /// Calls unlock() if `autoUnlock` was true. If unlock() throws, the process ends. That can also
  /// happen after an unlock() that threw, when its exception leaves the scope of the object.
  ~IMSemaphore();  // NOLINT(bugprone-exception-escape): see the definition

  /// Tries once to take the lock, and never waits.
  /// @return whether the lock was taken; false if somebody holds it, this object included
  /// @throws IMIOException  code errno, "Creating semaphore failed: NAME [TEXT]": the lock file
  ///                        cannot be created and does not exist either
  bool lockResource();

  /// Takes the lock. Between attempts it sleeps for 10 to 989 milliseconds, a number from rand(3).
  ///
  /// The lock is not recursive: an object that holds it and calls lock() again waits for itself.
  ///
  /// A signal handler that interrupts a pause ends it, and the pause counts in full. Frequent
  /// signals shorten the wait: see host-safety.md.
  /// @param timeoutSeconds  above 0: the call gives up when the pauses add up to this many seconds.
  ///                        0: no limit. Below 0: one attempt. From 2147484 on, the milliseconds
  ///                        overflow 32 bits, so the limit differs from the one requested.
  /// @return true, always
  /// @throws IMTimeoutException  code 1, "Semaphore timed out": the call gave up
  /// @throws IMIOException       as lockResource()
  bool lock(int timeoutSeconds);

  /// Releases the lock by removing the lock file, if this object holds the lock. A file that is
  /// already gone counts as removed.
  /// @throws IMIOException  code errno, "Releasing semaphore failed: NAME [TEXT]": the file cannot
  ///                        be removed. The lock counts as still held.
  void unlock();

  /// Makes unlock() remove the lock file even if this object does not hold the lock. Off at first;
  /// only another call turns it off again.
  void setForceUnlock(bool forceUnlock);

 private:
  std::string m_name;
  std::string m_directory;
  bool m_autoUnlock;
  bool m_locked;
  bool m_forceUnlock;
};

}  // namespace brix::imutils

#endif
