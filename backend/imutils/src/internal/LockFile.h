#ifndef VELMO_LOCKFILE_H
#define VELMO_LOCKFILE_H

#include <optional>
#include <string>

namespace brix::imutils {

/// Tries once to create the lock file of a lock: "semaphore_" and the name, in the directory. Its
/// mode is 0660 less the umask. Each call forms the path again. A cancellation of the thread is
/// held back during the call.
/// @return nothing if the lock was taken, EEXIST if somebody holds it, otherwise the errno of the
///         failure (0 if it set none)
std::optional<int> createLockFile(const std::string& directory, const std::string& name);

/// Removes the lock file. Allocates nothing: a lock is released even if memory has run out.
/// @return 0 if the file does not exist any more, otherwise the errno of the failure
int removeLockFile(const std::string& directory, const std::string& name);

}  // namespace brix::imutils

#endif
