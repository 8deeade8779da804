#ifndef VELMO_NEWTASKNAME_H
#define VELMO_NEWTASKNAME_H

#include <string>

#include "Fault.h"
#include "GivenTask.h"
#include "ServerIdentity.h"
#include "TaskFileName.h"

namespace velmo::client {

/// The parts of a new task's name, before its numbers are known: its task is 0, and its job is
/// empty if the task needs a new one.
/// @param created  the time, as the name has it
brix::velmo::TaskFileName nameOf(const GivenTask& task, int priority, std::string created);

/// Refuses a name that could be longer than a file's, or that the service would not read back as it
/// was written, whatever its task number will be.
/// @param name  its task number is ignored
Outcome checkName(const brix::velmo::TaskFileName& name);

/// The same for a task of which nothing has been issued: if it needs a new job, whatever that will
/// be.
Outcome checkNewName(const brix::velmo::TaskFileName& name, const ServerIdentity& identity);

}  // namespace velmo::client

#endif
