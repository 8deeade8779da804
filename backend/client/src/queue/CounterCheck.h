#ifndef VELMO_COUNTERCHECK_H
#define VELMO_COUNTERCHECK_H

#include <string>

#include "DirectoryCheck.h"
#include "Settings.h"

namespace velmo::client {

/// Reports a job counter that cannot be read or is not a number, its lock file if it is there, and
/// a copy of the counter that a program left behind.
void checkJobCounter(const Settings& settings, const Report& report);

/// Reports keys that are unusable, and a task counter or a semaphore that is missing, or that is
/// not as the service makes it; who took the semaphore, if it is taken; and objects that systemd
/// will remove.
/// @param systemRoot  the directory to which the system's paths are relative; empty: its own
void checkTaskCounter(const Settings& settings, const std::string& systemRoot,
                      const Report& report);

}  // namespace velmo::client

#endif
