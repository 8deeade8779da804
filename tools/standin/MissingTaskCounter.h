#ifndef VELMO_STANDIN_MISSINGTASKCOUNTER_H
#define VELMO_STANDIN_MISSINGTASKCOUNTER_H

#include "TaskCounter.h"

namespace velmo::standin {

/// The task counter of a service that was not started: two keys under which nothing exists. A
/// program may create something there. The destructor removes it, which wakes a program that waits
/// for the semaphore.
class MissingTaskCounter : public TaskCounter {
 public:
  MissingTaskCounter();
  ~MissingTaskCounter() override;

  int segmentKey() const override;
  int semaphoreKey() const override;

 private:
  int m_segmentKey;
  int m_semaphoreKey;
};

}  // namespace velmo::standin

#endif
