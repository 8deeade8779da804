#ifndef VELMO_STANDIN_TASKCOUNTER_H
#define VELMO_STANDIN_TASKCOUNTER_H

#include "Variables.h"

namespace velmo::standin {

/// The task counter of an installation, or its absence: two keys under which programs look for the
/// shared memory and the semaphore. Nothing exists under them after the object.
class TaskCounter {
 public:
  TaskCounter() = default;
  TaskCounter(const TaskCounter&) = delete;
  TaskCounter& operator=(const TaskCounter&) = delete;
  virtual ~TaskCounter() = default;

  /// The variables that contain the two keys.
  tools::Variables variables() const;

  virtual int segmentKey() const = 0;
  virtual int semaphoreKey() const = 0;
};

/// A key for a System V object. Never 0 (IPC_PRIVATE): no other process could find the object.
int randomKey();

}  // namespace velmo::standin

#endif
