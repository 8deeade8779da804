#ifndef VELMO_LEFTOVERCHECK_H
#define VELMO_LEFTOVERCHECK_H

#include "DirectoryCheck.h"
#include "Settings.h"

namespace velmo::client {

/// Reports task files that were left behind in TMP more than a minute ago, and files in the queue
/// that are not tasks.
void checkLeftovers(const Settings& settings, const Report& report);

}  // namespace velmo::client

#endif
