#ifndef VELMO_INSTALLATION_H
#define VELMO_INSTALLATION_H

#include <memory>
#include <string>

#include "PriorityTable.h"
#include "ServerIdentity.h"
#include "Settings.h"

/// What an installation handle holds. Nothing changes after velmo_open(), and nothing in it is a
/// descriptor or a lock: any thread may use it, also after fork().
struct velmo_installation {
  velmo::client::Settings settings;
  velmo::client::PriorityTable priorities;  ///< of both files "priorities.cfg"
  velmo::client::ServerIdentity identity;   ///< of the file "serverid.cfg"
  std::string queueDirectory;               ///< VAR/taskqueue; empty if VAR is unusable
  int segmentKey = 0;                       ///< of the task counter; 0 if it is unusable
  int semaphoreKey = 0;                     ///< of its semaphore; 0 if it is unusable
};

namespace velmo::client {

/// Opens an installation.
/// @param given  null: the settings of the environment
Result<std::unique_ptr<velmo_installation>> openInstallation(const velmo_settings* given);

/// The directory of the queue, or why VAR is unusable.
Result<std::string> queueOf(const velmo_installation& installation);

}  // namespace velmo::client

#endif
