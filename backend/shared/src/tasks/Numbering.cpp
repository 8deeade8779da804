#include "Numbering.h"

#include <algorithm>

namespace brix::velmo {

namespace {

constexpr int kLastJobNumber = 999999;
constexpr std::int32_t kLastTaskId = 0x7ffffffe;
constexpr int kLowestPriority = 0;
constexpr int kHighestPriority = 9999;

}  // namespace

int followingJobNumber(int last) {
  return last >= kLastJobNumber ? 0 : last + 1;
}

// Deliberate: restarts at 0 after 2147483646, one below the largest int. The service relies on it.
std::int32_t followingTaskId(std::int32_t last) {
  if (last == kLastTaskId) {
    return 0;
  }
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(last) + 1U);
}

// Deliberate: an adjustment of 0 leaves the class as it is configured, even outside the bounds.
// Installations use such numbers to sort tasks behind all others.
int adjustedPriority(int priority, int adjustment) {
  if (adjustment == 0) {
    return priority;
  }
  const std::int64_t sum = std::int64_t{priority} + adjustment;
  return static_cast<int>(std::clamp<std::int64_t>(sum, kLowestPriority, kHighestPriority));
}

}  // namespace brix::velmo
