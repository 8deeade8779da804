#ifndef VELMO_DIRECTORYCHECK_H
#define VELMO_DIRECTORYCHECK_H

#include <functional>
#include <string>

#include "Fault.h"
#include "Settings.h"

namespace velmo::client {

/// Takes a finding.
using Report = std::function<void(const Fault& finding)>;

/// Whether a file can be renamed from one directory into the other: both are on one mount. False if
/// one of them is missing.
bool areOnOneMount(const std::string& from, const std::string& to);

/// Reports directories whose variable is unusable, that are missing, that the program cannot write
/// to although it has to, or that every user can write to; and TMP on another mount than the queue.
void checkDirectories(const Settings& settings, const Report& report);

}  // namespace velmo::client

#endif
