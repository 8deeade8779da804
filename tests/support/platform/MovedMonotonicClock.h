#ifndef VELMO_TEST_MOVEDMONOTONICCLOCK_H
#define VELMO_TEST_MOVEDMONOTONICCLOCK_H

#include <chrono>
#include <ctime>

#include "PlatformCalls.h"

namespace velmo::test {

/// Makes the monotonic clock show a time that the test chooses, until the object is destroyed. The
/// other clocks are not changed.
class MovedMonotonicClock {
 public:
  explicit MovedMonotonicClock(std::chrono::nanoseconds now) : m_now(now) {
    platform().clock_gettime.setFake([this](clockid_t clock, timespec* result) {
      if (clock != CLOCK_MONOTONIC) {
        return platform().clock_gettime.real(clock, result);
      }
      const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(m_now);
      result->tv_sec = seconds.count();
      result->tv_nsec = (m_now - seconds).count();
      return 0;
    });
  }

  ~MovedMonotonicClock() {
    platform().clock_gettime.setFake(nullptr);
  }

  MovedMonotonicClock(const MovedMonotonicClock&) = delete;
  MovedMonotonicClock& operator=(const MovedMonotonicClock&) = delete;

  void advance(std::chrono::nanoseconds duration) {
    m_now += duration;
  }

 private:
  std::chrono::nanoseconds m_now;
};

}  // namespace velmo::test

#endif
