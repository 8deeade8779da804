#ifndef VELMO_STANDIN_SERVICE_H
#define VELMO_STANDIN_SERVICE_H

#include <cstdint>
#include <memory>

#include "FaultTrigger.h"
#include "TaskSubmitter.h"

namespace velmo::standin {

/// Accepts tasks by message: a WebSocket service on 127.0.0.1 with the path "/velmo".
///
/// Each client is served in its own thread. Anyone who can reach the port can run commands, so
/// pages in a browser are refused: if a client sends an origin, it must be "localhost".
class Service {
 public:
  /// Listens on the port. Clients can connect; they are served after start().
  /// @param port  0: any free port
  /// @param submitter, faults  outlive this object
  /// @throws std::runtime_error  if the port is not available
  Service(std::uint16_t port, TaskSubmitter& submitter, FaultTrigger& faults);

  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Ends all connections at once.
  ~Service();

  std::uint16_t port() const;

  /// Starts to serve. A program that was started before inherits no connection.
  void start();

  /// Accepts no more connections and no more requests. Requests that have begun are completed.
  /// Further calls do nothing.
  void finish();

  /// Whether finish() was called and the last request is completed: no more tasks come from here.
  bool isFinished() const;

  /// A descriptor that is readable once isFinished() holds.
  int finishedDescriptor() const;

 private:
  class Server;
  std::unique_ptr<Server> m_server;
};

}  // namespace velmo::standin

#endif
