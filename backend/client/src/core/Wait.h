#ifndef VELMO_WAIT_H
#define VELMO_WAIT_H

#include <cstdint>
#include <ctime>
#include <string>

#include "Fault.h"

namespace velmo::client {

/// How long a call may wait, on the monotonic clock, and the flag that ends its waits.
///
/// A wait looks at the flag before it begins, every 200 ms, and after each signal. A signal alone
/// never ends a wait.
class Wait {
 public:
  /// @param timeoutMs  milliseconds from now; VELMO_NO_LIMIT, or 0: do not wait
  /// @param stop       null, or what ends the wait while it is not 0
  Wait(int timeoutMs, const volatile int* stop);

  /// Whether the program has set its flag.
  bool isStopped() const;

  /// Whether the deadline has passed. With a timeout of 0 it has from the start.
  bool isOver() const;

  /// What is left, but at most until the flag is looked at again: for poll(), rounded up. 0 once
  /// the deadline has passed.
  int sliceMs() const;

  /// The same for calls that take a timespec, exact.
  timespec slice() const;

  /// Whether the deadline is at least 200 ms away, so that what is left is a whole slice.
  bool hasWholeSlice() const;

  /// Sleeps for a pause, but not beyond the slice, and not to the end if a signal arrives.
  void pause(std::int64_t nanoseconds) const;

 private:
  std::int64_t sliceNs() const;

  std::int64_t m_deadlineNs;  // of CLOCK_MONOTONIC; the largest number: never
  const volatile int* m_stop;
};

/// Refuses a timeout below VELMO_NO_LIMIT.
Outcome checkTimeout(int timeoutMs);

}  // namespace velmo::client

#endif
