#ifndef VELMO_LOCKATTEMPT_H
#define VELMO_LOCKATTEMPT_H

#include <array>
#include <climits>
#include <string>

namespace brix::imutils {

/// One byte more than the platform accepts: a longer path is truncated to a length that it refuses.
using LockPath = std::array<char, PATH_MAX + 1>;

/// The lock file of a lock: "semaphore_" and the name, in the directory. Allocates nothing.
LockPath lockPath(const std::string& directory, const std::string& name);

/// A lock file that this process has created, or the errno of the failure: EEXIST if somebody holds
/// the lock, 0 if the failure set none.
struct LockAttempt {
  int descriptor = -1;  ///< below 0 after a failure; the caller closes it
  int error = 0;
};

/// Tries once to create a lock file, exclusively, with the mode 0660 less the umask.
/// @param openFlags  how the new file is opened
LockAttempt attemptLock(const LockPath& path, int openFlags);

}  // namespace brix::imutils

#endif
