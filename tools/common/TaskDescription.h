#ifndef VELMO_TOOLS_TASKDESCRIPTION_H
#define VELMO_TOOLS_TASKDESCRIPTION_H

#include <string>
#include <velmo/velmo.hpp>

namespace velmo::tools {

/// The parts of a task file's name for people: "priority 0050, created 2025-03-03 14:05:09, job
/// J12, sub-job 0, task 731, relative 2, type sh".
std::string describe(const TaskName& name);

}  // namespace velmo::tools

#endif
