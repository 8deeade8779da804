#ifndef VELMO_TASKCOUNTER_H
#define VELMO_TASKCOUNTER_H

#include <cstdint>

#include "Failure.h"

namespace brix::velmo {

/// An identifier, unless there is a failure.
struct IssuedTaskId {
  std::int32_t taskId;
  Outcome failure;
};

/// Issues the next identifier of the service's task counter, which holds the last one in shared
/// memory. The caller holds the semaphore of the counter. A segment that does not exist is created,
/// and its first identifier is 1. After a failed detach the counter has advanced.
IssuedTaskId advanceTaskCounter(int segmentKey);

}  // namespace brix::velmo

#endif
