#ifndef VELMO_LEFTOVERCHECK_H
#define VELMO_LEFTOVERCHECK_H

#include <string>

#include "DirectoryCheck.h"

namespace velmo::client {

/// Reports task files that were left behind in TMP more than a minute ago.
void checkTemporaryFiles(const std::string& temporaryDirectory, const Report& report);

/// Reports files in the queue that are not tasks.
void checkQueueFiles(const std::string& queueDirectory, const Report& report);

}  // namespace velmo::client

#endif
