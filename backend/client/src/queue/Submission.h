#ifndef VELMO_SUBMISSION_H
#define VELMO_SUBMISSION_H

#include <string>

#include "Fault.h"
#include "GivenTask.h"
#include "Installation.h"
#include "Wait.h"

namespace velmo::client {

/// Takes the identifier of a new job: see velmo_new_job().
Result<std::string> drawJob(const velmo_installation& installation, bool isDurable,
                            const Wait& wait);

/// The contents of a task's file: the command, and the information if there is any, each on a line.
std::string contentsOf(const GivenTask& task);

/// Submits a task by file: see velmo_submit(). Nothing is taken from a counter before everything
/// that can be checked has been.
/// @param name  gets the name of the task before it can be in the queue
Outcome submitTask(const velmo_installation& installation, const GivenTask& task, bool isDurable,
                   const Wait& wait, std::string& name);

}  // namespace velmo::client

#endif
