#ifndef VELMO_SUBMISSIONLOG_H
#define VELMO_SUBMISSIONLOG_H

#include "Failure.h"

namespace brix::velmo {

/// Writes the lines of a failure to the system log: that of the semaphore if a call on it failed,
/// the step's own with the identity "CreateTaskFile", and the error number where the step has one.
/// @return whether there was a failure
bool logged(const Outcome& outcome);

/// Writes the line of the semaphore alone, if a call on it failed. Allocates nothing.
void logSemaphore(const Failure& failure);

}  // namespace brix::velmo

#endif
