#ifndef VELMO_SUBMISSIONENVIRONMENT_H
#define VELMO_SUBMISSIONENVIRONMENT_H

#include <string>

#include "Failure.h"

namespace brix::velmo {

/// The directory that a variable names; "(null)" if the variable is not set. Never null. Valid
/// until the next look into the environment.
const char* directoryFromEnvironment(const char* variable);

/// The file "priorities.cfg" in the directory that a variable names.
/// @throws std::logic_error  "basic_string::_M_construct null not valid", if it is not set
std::string priorityFileFromEnvironment(const char* variable);

/// A System V key, unless there is a failure.
struct EnvironmentKey {
  int number;
  Outcome failure;
};

/// The key that a variable holds: IPC_PRIVATE if its text is not a number. A variable that is not
/// set is a failure.
EnvironmentKey keyFromEnvironment(const char* variable);

}  // namespace brix::velmo

#endif
