#ifndef VELMO_STANDIN_TASKCOUNTER_H
#define VELMO_STANDIN_TASKCOUNTER_H

#include <velmo/IMMemSemaphore.h>

#include "Environment.h"

namespace standin {

/// The service's task counter: the shared memory that holds the last task identifier, and the
/// semaphore that guards it. Both stand under fresh random keys, belong to the user alone, and are
/// removed with the object.
class TaskCounter {
 public:
  /// Makes both: the counter 0, the semaphore 1.
  /// @throws std::system_error  when the system refuses one of them; nothing stays behind
  TaskCounter();

  /// The variables that publish the two keys.
  Variables variables() const;

 private:
  class Segment {
   public:
    Segment();
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment();

    int key() const;

   private:
    int m_id = -1;  // declared first: set while the key is found
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

}  // namespace standin

#endif
