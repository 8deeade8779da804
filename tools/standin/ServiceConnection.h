#ifndef VELMO_STANDIN_SERVICECONNECTION_H
#define VELMO_STANDIN_SERVICECONNECTION_H

#include <optional>
#include <string>

#include "MessageAssembler.h"
#include "RequestGate.h"
#include "TaskRequest.h"
#include "TaskSubmitter.h"

namespace Poco::Net {
class WebSocket;
}

namespace standin {

/// One client's connection: answers each request with the name of its task, each ping with a pong.
///
/// The first thing that is no request ends the connection, with a line on standard error and a
/// close frame that carries the same words: what follows it cannot be trusted. Between requests it
/// ends when the gate closes; a request whose first frame has come is finished.
class ServiceConnection {
 public:
  /// @param socket  after its handshake
  ServiceConnection(Poco::Net::WebSocket& socket, TaskSubmitter& submitter, RequestGate& gate);

  /// Serves the client until either side ends the connection.
  void serve();

 private:
  struct Frame {
    int flags = 0;
    std::string payload;
  };

  void answerRequests();
  bool waitForRequest();
  std::optional<Frame> receive();
  bool handle(const Frame& frame);
  void answer(const std::string& message);
  void close(CloseCode code, const std::string& why);

  Poco::Net::WebSocket& m_socket;
  TaskSubmitter& m_submitter;
  RequestGate& m_gate;
  RequestGate::Pass m_pass;  ///< null: between requests
  MessageAssembler m_assembler;
};

}  // namespace standin

#endif
