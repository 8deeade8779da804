#ifndef VELMO_COUNTERREMEDIES_H
#define VELMO_COUNTERREMEDIES_H

#include "Fault.h"
#include "Remedy.h"
#include "Site.h"

namespace velmo::cli {

/// Writes a number above every job number found into the counter file. If the path is not a regular
/// file, it is renamed first.
Remedy writeJobCounter(const client::Fault& fault, const Site& site);

/// Permits reading the job counter, or replaces what is not a file.
Remedy readJobCounter(const client::Fault& fault, const Site& site);

/// Deletes a copy of the job counter that a program left.
Remedy deleteCopy(const client::Fault& fault, const Site& site);

/// Breaks the lock of the job counter if it is certainly stale.
Remedy breakLock(const client::Fault& fault, const Site& site);

/// Advice: start it.
Remedy startService(const client::Fault& fault, const Site& site);

/// Advice: restart it.
Remedy restartService(const client::Fault& fault, const Site& site);

/// Advice that depends on whether the process that took the semaphore has ended.
Remedy waitForSemaphore(const client::Fault& fault, const Site& site);

/// Advice for a key of another program.
Remedy useOtherKey(const client::Fault& fault, const Site& site);

/// Advice for a System V object of another user.
Remedy useOtherUser(const client::Fault& fault, const Site& site);

/// Disables the removal of System V objects at logout.
Remedy keepAtLogout(const client::Fault& fault, const Site& site);

}  // namespace velmo::cli

#endif
