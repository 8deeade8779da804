#ifndef VELMO_SUBMISSIONLOG_H
#define VELMO_SUBMISSIONLOG_H

#include "Failure.h"

namespace brix::velmo {

/// Writes the line of a failure to the system log, with the identity "CreateTaskFile", and then the
/// error number where the step has one. A line without a subject takes no memory.
/// @return whether there was a failure
bool logged(const Outcome& outcome);

}  // namespace brix::velmo

#endif
