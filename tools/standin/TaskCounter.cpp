#include "TaskCounter.h"

#include <limits>
#include <random>
#include <string>

namespace velmo::standin {

tools::Variables TaskCounter::variables() const {
  return {{"SHARED_VELMO_TASKID", std::to_string(segmentKey())},
          {"SEMAPHORE_VELMO_TASKID", std::to_string(semaphoreKey())}};
}

int randomKey() {
  std::random_device random;
  return std::uniform_int_distribution<int>(1, std::numeric_limits<int>::max())(random);
}

}  // namespace velmo::standin
