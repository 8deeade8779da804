#ifndef VELMO_INTERRUPT_H
#define VELMO_INTERRUPT_H

#include <atomic>

namespace velmo::cli {

/// Whether the user wants to stop: SIGINT, SIGTERM or SIGHUP arrived. While the object exists, the
/// first of them sets a flag and interrupts a wait for input; the second ends the process. A signal
/// that was ignored stays ignored.
class Interrupt {
 public:
  Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;
  ~Interrupt();

  /// The number of the signal, or 0. The library takes it as its stop flag.
  const std::atomic<int>& flag() const;

  bool isRequested() const {
    return flag() != 0;
  }
};

}  // namespace velmo::cli

#endif
