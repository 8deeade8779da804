#ifndef VELMO_STANDIN_TEMPORARYTASKCOUNTER_H
#define VELMO_STANDIN_TEMPORARYTASKCOUNTER_H

#include <velmo/IMMemSemaphore.h>

#include "TaskCounter.h"

namespace velmo::standin {

/// A task counter as the service makes it: the shared memory with the last task identifier, and the
/// semaphore that guards it. Both have fresh random keys, only the user can access them, and the
/// destructor removes them.
class TemporaryTaskCounter : public TaskCounter {
 public:
  /// Creates both: the counter with the value 0, the semaphore with the value 1.
  /// @throws std::system_error  if one of them cannot be created; neither then exists
  TemporaryTaskCounter();

  int segmentKey() const override;
  int semaphoreKey() const override;

 private:
  class Segment {
   public:
    Segment();
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment();

    int key() const;

   private:
    int m_id = -1;  // before m_key, whose initialiser sets it
    int m_key;
  };

  class Semaphore {
   public:
    Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore();

    int key() const;

   private:
    int m_key;
    brix::imutils::IMMemSemaphore m_semaphore;
  };

  Segment m_segment;
  Semaphore m_semaphore;
};

}  // namespace velmo::standin

#endif
