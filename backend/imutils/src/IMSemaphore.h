#ifndef VELMO_IMSEMAPHORE_H
#define VELMO_IMSEMAPHORE_H

/// @file
/// A lock between processes: a lock file.

#include <string>

#include "Export.h"

namespace brix::imutils {

/// A named lock between processes, made of a lock file: whoever creates the file holds the lock,
/// and releases it by removing the file.
///
/// The file is "semaphore_" and the name in the lock directory, empty, mode 0660 less the umask.
/// Its path is formed anew at every attempt, so a relative directory is that of the moment. A
/// holder that dies leaves the file behind: nobody gets the lock then until somebody removes it by
/// hand.
///
/// fork() copies the object, and with it the lock: if the child unlocks or destroys its copy, it
/// removes the parent's lock file. Leave such a child with _exit(): exit() destroys static objects.
///
/// A thread that is cancelled while it takes the lock holds it or leaves no file; the pauses of
/// lock() can be cancelled.
///
/// Two objects of one name and directory exclude each other, in one process as between two. One
/// object is used by one thread at a time. Running out of memory leaves as std::bad_alloc.
class VELMO_EXPORT IMSemaphore {
 public:
  /// @param name        name of the lock
  /// @param directory   directory of the lock file; empty: as for the other constructor
  /// @param autoUnlock  whether the destructor releases the lock
  IMSemaphore(const std::string& name, const std::string& directory, bool autoUnlock);

  /// Takes the directory from the environment variable LOCK_VAR, which is read here and not again:
  /// its value if it is set, otherwise ".". Set to an empty text, it is the root directory.
  IMSemaphore(const std::string& name, bool autoUnlock);

  IMSemaphore(const IMSemaphore&) = delete;
  IMSemaphore& operator=(const IMSemaphore&) = delete;

  /// Calls unlock() if the object was built with auto-unlock. When that throws, the process ends.
  /// So it does after an unlock() that threw, when the exception leaves the object's scope and the
  /// second attempt fails too.
  ~IMSemaphore();  // NOLINT(bugprone-exception-escape): see the definition

  /// Tries once to take the lock and never waits. See lock() for the form that throws when it does
  /// not get it.
  /// @return whether the lock was taken; false when somebody holds it, this object included
  /// @throws IMIOException  code errno, "Creating semaphore failed: NAME [TEXT]", when the lock
  ///                        file cannot be created and does not exist either
  bool lockResource();

  /// Takes the lock; between attempts it sleeps for 10 to 989 milliseconds, drawn from `rand`.
  ///
  /// Not reentrant: an object that holds the lock and asks again waits for itself.
  ///
  /// A signal handler that interrupts a pause ends it, and the pause still counts in full. Under
  /// frequent signals the real wait is much shorter: with one every 2 milliseconds, lock(30) gave
  /// up after 0.1 seconds.
  /// @param timeoutSeconds  above 0: give up once the pauses drawn add up to this many seconds
  ///                        (without signals, the real wait is a little longer); 0: wait for ever;
  ///                        below 0: try once.
  ///                        The milliseconds are counted in 32 bits, so from 2147484 seconds on the
  ///                        budget is no longer the one asked for, and may be over at once.
  /// @return true, always: not getting the lock is an exception
  /// @throws IMTimeoutException  code 1, "Semaphore timed out", when it gives up
  /// @throws IMIOException       as lockResource()
  bool lock(int timeoutSeconds);

  /// Releases the lock if this object holds it, by removing the lock file; does nothing otherwise.
  /// A file that is already gone counts as removed.
  /// @throws IMIOException  code errno, "Releasing semaphore failed: NAME [TEXT]", when the file
  ///                        cannot be removed; the lock then counts as still held
  void unlock();

  /// Makes unlock() remove the lock file even if this object does not hold the lock. Off at first,
  /// and off again only by another call.
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
