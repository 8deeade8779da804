#ifndef VELMO_JOBNUMBER_H
#define VELMO_JOBNUMBER_H

#include <optional>
#include <string>

#include "Fault.h"
#include "Wait.h"

namespace velmo::client {

/// Issues the next job number of a machine: takes the lock of the job counter, advances the counter
/// file DATA/velmo/jobid, and releases the lock. If the file is missing, the number is 0. The file
/// is replaced by a complete copy, jobid_tmp, so no reader sees half a number.
///
/// After a failure the number must not be used. The counter has advanced only if the lock could not
/// be released or the directory could not be synced.
/// @param dataDirectory  DATA; its subdirectory "velmo" must exist
/// @param lockDirectory  of the lock file
/// @param isDurable      whether a power cut must not make the number be issued again
/// @param wait           for the lock
Result<int> drawJobNumber(const std::string& dataDirectory, const std::string& lockDirectory,
                          bool isDurable, const Wait& wait);

/// The last job number that was issued; nothing if the counter file is missing. Takes no lock: the
/// file is replaced whole.
Result<std::optional<int>> readJobCounter(const std::string& dataDirectory);

}  // namespace velmo::client

#endif
