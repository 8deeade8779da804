#ifndef VELMO_LEFTOVERCHECK_H
#define VELMO_LEFTOVERCHECK_H

#include <string>
#include <vector>

#include "DirectoryCheck.h"
#include "Settings.h"

namespace velmo::client {

/// The names of task files in TMP that were left behind more than a minute ago, in no order.
std::vector<std::string> leftoversIn(const std::string& directory);

/// The names of the files in a queue that are not tasks, in no order.
std::vector<std::string> otherFilesIn(const std::string& queue);

/// Reports task files that were left behind in TMP more than a minute ago, and files in the queue
/// that are not tasks.
void checkLeftovers(const Settings& settings, const Report& report);

}  // namespace velmo::client

#endif
