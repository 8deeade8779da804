#include "JobAge.h"

#include <limits>

namespace brix::velmo {

time_t ageAt(time_t now, time_t lastUsed) {
  time_t age = 0;
  if (__builtin_sub_overflow(now, lastUsed, &age)) {
    return lastUsed < 0 ? std::numeric_limits<time_t>::max() : std::numeric_limits<time_t>::min();
  }
  return age;
}

// Deliberate: the three tests differ. Processes that share a directory judge each other's jobs by
// them, so all versions of the library have to agree on the second at which a job is dropped.

// Deliberate: the equal age counts here; the caller drops the job and keeps its file.
bool hasExpired(time_t age, long maxAge) {
  return maxAge != 0 && age >= maxAge;
}

// Deliberate: the equal age does not count here; the caller removes the file too.
bool isSweptAway(time_t age, long maxAge) {
  return age > maxAge;
}

// Deliberate: the equal age counts here; the caller removes the file.
bool isStaleFile(time_t age, long maxAge) {
  return maxAge != 0 && age >= maxAge;
}

}  // namespace brix::velmo
