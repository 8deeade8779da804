#ifndef VELMO_INSTALLATION_H
#define VELMO_INSTALLATION_H

#include <string>
#include <utility>

#include "PriorityTable.h"
#include "ServerIdentity.h"
#include "Settings.h"

/// What an installation handle holds. Nothing changes after velmo_open(), and nothing in it is a
/// descriptor or a lock: any thread may use it, also after fork().
struct velmo_installation {
  explicit velmo_installation(velmo::client::Settings given)
      : settings(std::move(given)),
        priorities(settings),
        identity(settings),
        queueDirectory(settings.var.value.empty() ? "" : settings.var.value + "/taskqueue") {}

  velmo::client::Settings settings;
  velmo::client::PriorityTable priorities;  ///< of both files "priorities.cfg"
  velmo::client::ServerIdentity identity;   ///< of the file "serverid.cfg"
  std::string queueDirectory;               ///< VAR/taskqueue; empty if VAR is not set
};

#endif
