#ifndef VELMO_STANDIN_SERVICECONNECTION_H
#define VELMO_STANDIN_SERVICECONNECTION_H

#include <optional>
#include <string>
#include <string_view>

#include "FaultTrigger.h"
#include "FaultyReply.h"
#include "FrameReader.h"
#include "MessageAssembler.h"
#include "RequestGate.h"
#include "TaskSubmitter.h"

namespace velmo::standin {

/// One client's connection: answers each request with the name of its task, each ping with a pong.
///
/// The first message that is not a request ends the connection, with a line on standard error and a
/// close frame that gives the same reason: what follows it cannot be trusted. A client's close
/// frame is answered with its own code and reason. When the gate closes, the connection ends
/// between requests; a request whose first bytes have arrived is completed.
///
/// A request whose fault strikes is replied to as the fault says. With a close code as the fault it
/// is refused, and its task is not queued; with any other fault its task is queued.
class ServiceConnection {
 public:
  /// @param descriptor  of the connection, after its handshake; the caller closes it
  /// @param readAhead  bytes that arrived with the handshake and were already read from the socket
  ServiceConnection(int descriptor, std::string_view readAhead, TaskSubmitter& submitter,
                    FaultTrigger& faults, RequestGate& gate);

  /// Serves the client until either side ends the connection.
  void serve();

 private:
  void answerRequests();
  bool waitForRequest();
  std::optional<Frame> receive();
  bool readMore();
  bool handle(const Frame& frame);
  bool answer(const std::string& message);
  bool answerFaultily(const Fault& fault, const QueuedRequest& request);
  void close(const std::string& payload);

  int m_descriptor;
  TaskSubmitter& m_submitter;
  FaultTrigger& m_faults;
  RequestGate& m_gate;
  RequestGate::Pass m_pass;  ///< null: between requests
  FrameReader m_frames;
  MessageAssembler m_assembler;
};

}  // namespace velmo::standin

#endif
