#ifndef VELMO_JOBTEXT_H
#define VELMO_JOBTEXT_H

#include <string>
#include <string_view>

#include "Fault.h"
#include "JobFileScanner.h"

namespace velmo::client {

/// The text of a job file: a line for the identifier, one each for user and name unless they are
/// empty, and one for the priority. Nothing is escaped.
std::string jobFileText(const brix::velmo::JobFileFields& job);

/// Refuses a user or a name that would read back differently from a job file.
/// @param argument  its name, for the text of the failure
Outcome checkStorable(const char* argument, const std::string& text);

/// The job information for the tasks of a job: "#1USE=" and the user, "#1JNA=" and the name, each
/// unless it is empty.
std::string jobInformation(const brix::velmo::JobFileFields& job);

}  // namespace velmo::client

#endif
