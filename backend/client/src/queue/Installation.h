#ifndef VELMO_INSTALLATION_H
#define VELMO_INSTALLATION_H

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
  std::string queueDirectory;               ///< VAR/taskqueue; empty if VAR is not set
};

#endif
