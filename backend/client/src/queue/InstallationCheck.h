#ifndef VELMO_INSTALLATIONCHECK_H
#define VELMO_INSTALLATIONCHECK_H

#include "DirectoryCheck.h"
#include "Installation.h"

namespace velmo::client {

/// Reports everything that would make submissions by file fail, or go unnoticed by the service.
/// Changes nothing, and never waits.
/// @param task  null, or also reports everything that a submission of this task would refuse
void checkInstallation(const velmo_installation& installation, const velmo_task* task,
                       const Report& report);

}  // namespace velmo::client

#endif
