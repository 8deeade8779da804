#ifndef VELMO_EXAMINATION_H
#define VELMO_EXAMINATION_H

#include <atomic>
#include <string>
#include <vector>

#include "Finding.h"
#include "Repairs.h"

namespace velmo::cli {

/// One finding for each check of an installation, or one for each fault of a check. A check that
/// needs what an earlier one found faulty is skipped, and what the library found there is left out:
/// it is a consequence of the earlier fault.
/// @param faults  that the library found, in its order
std::vector<Finding> findingsOf(const std::vector<client::Fault>& faults, const Site& site);

/// Looks at an installation.
std::vector<Finding> examine(const Site& site);

/// Looks at the service that "modules.xml" names: connects, shakes hands within a second, and
/// closes the connection. Sends no request.
/// @param modulesFile  empty: the one of the variable or of an installation
/// @param stop         ends the waits
std::vector<Finding> examineService(const std::string& modulesFile, const std::atomic<int>& stop,
                                    const Site& site);

}  // namespace velmo::cli

#endif
