#ifndef VELMO_TASKCOUNTER_H
#define VELMO_TASKCOUNTER_H

#include <cstdint>

#include "Fault.h"
#include "Wait.h"

namespace velmo::client {

/// Issues the next task identifier of a machine: takes the semaphore of the service's task counter,
/// advances the counter in the shared memory, and releases the semaphore. Creates neither of the
/// two. If the process dies meanwhile, the kernel releases the semaphore.
///
/// The identifier is 0 or above. After a failure the counter may have advanced; that identifier is
/// lost.
/// @param wait  for the semaphore, if another process has it
Result<std::int32_t> drawTaskId(int segmentKey, int semaphoreKey, const Wait& wait);

}  // namespace velmo::client

#endif
