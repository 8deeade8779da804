#ifndef VELMO_STANDIN_SERVICE_H
#define VELMO_STANDIN_SERVICE_H

#include <cstdint>
#include <memory>

#include "TaskSubmitter.h"

namespace standin {

/// Takes tasks by message: a WebSocket service on 127.0.0.1 whose path is "/velmo".
///
/// It serves in threads of its own, one for each client. Whoever can reach the port can have
/// commands run, so pages in a browser are kept out: the origin of a client that names one has to
/// be "localhost".
class Service {
 public:
  /// Takes the port and listens there; clients wait until start().
  /// @param port  0: one that the system picks
  /// @param submitter  outlives this object
  /// @throws std::runtime_error  when the port is not available
  Service(std::uint16_t port, TaskSubmitter& submitter);

  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Ends all connections at once.
  ~Service();

  std::uint16_t port() const;

  /// Begins to serve. Programs started before it share no connection with this process.
  void start();

  /// Takes no more connections and no more requests; those that have begun go on. Further calls do
  /// nothing.
  void finish();

  /// Whether finish() was called and the last request is done: no task comes from here any more.
  bool isFinished() const;

  /// A descriptor that is readable once isFinished() holds.
  int finishedDescriptor() const;

 private:
  class Server;
  std::unique_ptr<Server> m_server;
};

}  // namespace standin

#endif
