#ifndef VELMO_SUBMISSIONLOG_H
#define VELMO_SUBMISSIONLOG_H

#include "Failure.h"

namespace brix::velmo {

/// Writes the line of a failure to the system log, with the identity "CreateTaskFile", and then the
/// error number where the step has one. A line without a subject takes no memory.
void log(const Failure& failure);

/// Logs the failure, if there is one.
/// @return whether there was one
inline bool logged(const Outcome& outcome) {
  if (!outcome) {
    return false;
  }
  log(*outcome);
  return true;
}

}  // namespace brix::velmo

#endif
