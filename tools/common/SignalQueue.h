#ifndef VELMO_TOOLS_SIGNALQUEUE_H
#define VELMO_TOOLS_SIGNALQUEUE_H

#include <optional>

#include "FileDescriptor.h"

namespace velmo::tools {

/// A signal that asks this process to end.
struct EndSignal {
  int number = 0;
  /// The terminal sent it, to its whole foreground process group and not to this process alone.
  bool fromTerminal = false;
};

/// The signals that this process waits for: SIGCHLD and those that ask it to end (SIGINT, SIGTERM,
/// SIGHUP, SIGQUIT). Once the object exists they interrupt nothing; they queue up here. SIGPIPE is
/// ignored, so a reader that is gone does not end the process before it has cleaned up.
///
/// If the process was started with SIGHUP ignored (nohup), SIGHUP stays ignored. SIGINT and SIGQUIT
/// do not: a script starts every background program with these two ignored, whether or not its
/// author wants that.
class SignalQueue {
 public:
  /// @throws std::system_error
  SignalQueue();

  /// A descriptor that is readable while signals are queued.
  int descriptor() const;

  /// Takes signals from the queue, up to and including the first that asks to end.
  /// @return nothing if none in the queue asks to end
  std::optional<EndSignal> takeEndSignal();

 private:
  FileDescriptor m_descriptor;
};

}  // namespace velmo::tools

#endif
