#ifndef VELMO_TASKFILE_H
#define VELMO_TASKFILE_H

#include <string>

#include "Fault.h"

namespace velmo::client {

/// Where a task file is after an attempt to place it.
struct Placement {
  bool isPlaced = false;    ///< in the queue
  std::string takenPath{};  ///< else the file, in TMP or in the queue, that has its name already
};

/// Writes a task file aside and moves it into the queue, so that the service never sees a part of
/// it. A file that has the name already stays as it is, in both directories. After a failure the
/// task is not queued and its file is removed, except for one failure that is in doubt: a file that
/// was moved, but whose directory could not be synced.
/// @param temporaryDirectory  TMP; on the same mount as the queue
/// @param name                name of the file in both directories
/// @param isDurable           whether the task must survive a power cut once this returns
Result<Placement> placeTaskFile(const std::string& temporaryDirectory,
                                const std::string& queueDirectory, const std::string& name,
                                const std::string& contents, bool isDurable);

}  // namespace velmo::client

#endif
