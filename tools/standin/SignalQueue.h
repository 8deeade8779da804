#ifndef VELMO_STANDIN_SIGNALQUEUE_H
#define VELMO_STANDIN_SIGNALQUEUE_H

#include <optional>

#include "FileDescriptor.h"

namespace standin {

/// A request to end.
struct EndSignal {
  int number = 0;
  /// Sent by the terminal to its whole foreground process group, so not to this process alone.
  bool fromTerminal = false;
};

/// The signals that this process waits for: SIGCHLD and the requests to end (SIGINT, SIGTERM,
/// SIGHUP, SIGQUIT). From its making on they no longer interrupt anything but queue up here;
/// SIGPIPE is ignored, so that a reader that is gone does not end the process before it has cleaned
/// up.
///
/// A hang-up that the process was started to ignore (nohup) stays ignored. An ignored SIGINT or
/// SIGQUIT is not: scripts start every program in the background that way, without anybody's wish.
class SignalQueue {
 public:
  /// @throws std::system_error
  SignalQueue();

  /// A descriptor that is readable while signals wait.
  int descriptor() const;

  /// Takes signals from the queue up to and including the first request to end.
  /// @return nothing when the queue is empty and held no such request
  std::optional<EndSignal> takeEndSignal();

 private:
  FileDescriptor m_descriptor;
};

}  // namespace standin

#endif
