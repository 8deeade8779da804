#ifndef VELMO_STANDIN_SERVICECONNECTION_H
#define VELMO_STANDIN_SERVICECONNECTION_H

#include <optional>
#include <string>
#include <string_view>

#include "FrameReader.h"
#include "MessageAssembler.h"
#include "RequestGate.h"
#include "TaskSubmitter.h"

namespace Poco::Net {
class WebSocket;
}

namespace velmo::standin {

/// One client's connection: answers each request with the name of its task, each ping with a pong.
///
/// The first message that is not a request ends the connection, with a line on standard error and a
/// close frame that gives the same reason: what follows it cannot be trusted. A client's close
/// frame is answered with its own code and reason. When the gate closes, the connection ends
/// between requests; a request whose first bytes have arrived is completed.
class ServiceConnection {
 public:
  /// @param socket  after its handshake
  /// @param readAhead  bytes that arrived with the handshake and were already read from the socket
  ServiceConnection(Poco::Net::WebSocket& socket, std::string_view readAhead,
                    TaskSubmitter& submitter, RequestGate& gate);

  /// Serves the client until either side ends the connection.
  void serve();

 private:
  void answerRequests();
  bool waitForRequest();
  std::optional<Frame> receive();
  bool readMore();
  void handle(const Frame& frame);
  void answer(const std::string& message);
  void close(const std::string& payload);

  Poco::Net::WebSocket& m_socket;
  TaskSubmitter& m_submitter;
  RequestGate& m_gate;
  RequestGate::Pass m_pass;  ///< null: between requests
  FrameReader m_frames;
  MessageAssembler m_assembler;
};

}  // namespace velmo::standin

#endif
