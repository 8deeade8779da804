#ifndef VELMO_WATCHWAIT_H
#define VELMO_WATCHWAIT_H

#include <chrono>

#include "Interrupt.h"

namespace velmo::cli {

/// The waits of a watch. A signal ends each of them, whenever it comes, and so does a reader of the
/// output that is gone.
class WatchWait {
 public:
  enum class End { Time, Change, Key, Signal };

  explicit WatchWait(const Interrupt& interrupt) : m_interrupt(interrupt) {}

  /// @param change  readable when something has changed; -1: does not matter
  /// @param keys    readable when a key was pressed; -1: does not matter
  /// @throws OutputClosed
  End until(std::chrono::steady_clock::time_point deadline, int change, int keys) const;

 private:
  const Interrupt& m_interrupt;
};

}  // namespace velmo::cli

#endif
