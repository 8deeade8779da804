#ifndef VELMO_STANDIN_REQUESTGATE_H
#define VELMO_STANDIN_REQUESTGATE_H

#include <memory>
#include <mutex>

#include "FileDescriptor.h"

namespace standin {

/// Lets the program end between requests: once it is closed no request begins, and it is known when
/// the last one that had begun is done. All operations may be called from any thread.
class RequestGate {
 public:
  struct Leave {
    void operator()(RequestGate* gate) const {
      gate->leave();
    }
  };

  /// Stands for a request that has begun, until it goes.
  using Pass = std::unique_ptr<RequestGate, Leave>;

  /// @throws std::system_error
  RequestGate();

  /// Begins a request.
  /// @return null when the gate is closed; what is returned must not outlive the gate
  Pass enter();

  /// From now on nothing enters.
  void close();

  /// Whether the gate is closed and no request goes on.
  bool isDone() const;

  /// A descriptor that is readable once the gate is closed, for those who wait for a request.
  int closedDescriptor() const;

  /// A descriptor that is readable once isDone() holds.
  int doneDescriptor() const;

 private:
  void leave();

  mutable std::mutex m_mutex;
  bool m_closed = false;
  int m_inside = 0;
  FileDescriptor m_closedEvent;
  FileDescriptor m_doneEvent;
};

}  // namespace standin

#endif
