#ifndef VELMO_STANDIN_REQUESTGATE_H
#define VELMO_STANDIN_REQUESTGATE_H

#include <memory>
#include <mutex>

#include "FileDescriptor.h"

namespace velmo::standin {

/// Lets the program end between requests: after close() no request begins, and isDone() says when
/// the last one that had begun has ended. Any thread may call any operation.
class RequestGate {
 public:
  struct Leave {
    void operator()(RequestGate* gate) const {
      gate->leave();
    }
  };

  /// A request that has begun. It ends with this object.
  using Pass = std::unique_ptr<RequestGate, Leave>;

  /// @throws std::system_error
  RequestGate();

  /// Begins a request.
  /// @return null if the gate is closed; must not outlive the gate
  Pass enter();

  /// Lets no more requests begin.
  void close();

  /// Whether the gate is closed and every request has ended.
  bool isDone() const;

  /// A descriptor that is readable once the gate is closed, for threads that wait for a request.
  int closedDescriptor() const;

  /// A descriptor that is readable once isDone() holds.
  int doneDescriptor() const;

 private:
  void leave();

  mutable std::mutex m_mutex;
  bool m_closed = false;
  int m_inside = 0;
  tools::FileDescriptor m_closedEvent;
  tools::FileDescriptor m_doneEvent;
};

}  // namespace velmo::standin

#endif
