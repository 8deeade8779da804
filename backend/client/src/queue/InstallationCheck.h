#ifndef VELMO_INSTALLATIONCHECK_H
#define VELMO_INSTALLATIONCHECK_H

#include <string>

#include "DirectoryCheck.h"
#include "Installation.h"

namespace velmo::client {

/// Reports everything that would make submissions by file fail, or go unnoticed by the service.
/// Changes nothing, and never waits.
/// @param task        null, or also reports everything that a submission of this task would refuse
/// @param systemRoot  the directory to which the system's paths are relative; empty: its own
void checkInstallation(const velmo_installation& installation, const velmo_task* task,
                       const Report& report, const std::string& systemRoot = "");

}  // namespace velmo::client

#endif
