#include "ServiceConnection.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <system_error>

#include "CloseFrame.h"
#include "FaultyReply.h"
#include "FrameWriter.h"
#include "Report.h"
#include "SocketCalls.h"
#include "TaskRequest.h"

namespace velmo::standin {

namespace {

// How long a client may take to close its side.
constexpr std::chrono::seconds kGoodbye{2};

}  // namespace

ServiceConnection::ServiceConnection(int descriptor, std::string_view readAhead,
                                     TaskSubmitter& submitter, FaultTrigger& faults,
                                     RequestGate& gate)
    : m_descriptor(descriptor), m_submitter(submitter), m_faults(faults), m_gate(gate) {
  m_frames.add(readAhead);
}

void ServiceConnection::serve() {
  try {
    answerRequests();
  } catch (const Refusal& refusal) {
    report(std::string("refused a message: ") + refusal.what());
    close(closePayload(refusal.code(), refusal.what()));
  }
}

void ServiceConnection::answerRequests() {
  for (;;) {
    if (!m_assembler.isBegun()) {
      m_pass.reset();
      if (!waitForRequest()) {
        close(closePayload(CloseCode::kGoingAway, "velmo-standin ends"));
        return;
      }
    }
    const std::optional<Frame> frame = receive();
    if (!frame) {
      return;
    }
    if (opcodeOf(frame->flags) == kClose) {
      close(closeAnswer(frame->payload));
      return;
    }
    if (!handle(*frame)) {
      return;
    }
  }
}

// @return false if the gate closed first
bool ServiceConnection::waitForRequest() {
  if (m_frames.isEmpty() && !waitForBytes(m_descriptor, m_gate.closedDescriptor(), std::nullopt)) {
    return false;
  }
  m_pass = m_gate.enter();
  return m_pass != nullptr;
}

// @return nothing if the client has ended the connection between messages, without a close frame
std::optional<Frame> ServiceConnection::receive() {
  for (;;) {
    if (std::optional<Frame> frame = m_frames.next()) {
      return frame;
    }
    if (!readMore()) {
      break;
    }
  }
  if (m_assembler.isBegun() || !m_frames.isEmpty()) {
    throw Refusal(CloseCode::kProtocolError, "cut short, the connection has ended");
  }
  return std::nullopt;
}

// @return false at the end of the connection
bool ServiceConnection::readMore() {
  if (!waitForBytes(m_descriptor, -1, kStall)) {
    throw Refusal(CloseCode::kProtocolError,
                  fmt::format("cut short, nothing came for {} seconds", kStall.count()));
  }
  std::array<char, 16384> buffer{};
  const ssize_t count = ::recv(m_descriptor, buffer.data(), buffer.size(), 0);
  if (count <= 0) {
    return false;  // an error means that the client is gone
  }
  m_frames.add({buffer.data(), static_cast<std::size_t>(count)});
  return true;
}

// @return false if the connection must end at once, as of answer() and answerFaultily()
bool ServiceConnection::handle(const Frame& frame) {
  switch (opcodeOf(frame.flags)) {
    case kPing:
      sendBytes(m_descriptor, serverFrame(kPong, frame.payload));
      return true;
    case kPong:
      return true;
    default:
      const std::optional<std::string> message = m_assembler.add(frame);
      return !message || answer(*message);
  }
}

bool ServiceConnection::answer(const std::string& message) {
  const service::velmo::AddTaskRequest request = parseRequest(message);
  const Fault* fault = m_faults.strike(FaultPlace::kRequest);
  if (fault != nullptr && fault->kind == FaultKind::kClose) {
    throw Refusal(fault->closeCode, labelOf(*fault));
  }
  const std::string taskName = m_submitter.submit(request);
  if (fault != nullptr) {
    return answerFaultily(*fault, {message, taskName});
  }
  sendBytes(m_descriptor, serverFrame(kBinary, responseMessage(taskName)));
  return true;
}

bool ServiceConnection::answerFaultily(const Fault& fault, const QueuedRequest& request) {
  report(fmt::format("{}: {} is queued", labelOf(fault), request.taskName));
  return replyFaultily(fault.kind, request, m_descriptor, m_gate.closedDescriptor());
}

void ServiceConnection::close(const std::string& payload) {
  m_pass.reset();
  try {
    sendBytes(m_descriptor, serverFrame(kClose, payload));
  } catch (const std::system_error&) {
    return;  // the client is already gone
  }
  ::shutdown(m_descriptor, SHUT_WR);
  // Closing a socket with unread bytes resets the connection, and the client may then lose the last
  // frames sent to it.
  discardBytes(m_descriptor, -1, kGoodbye);
}

}  // namespace velmo::standin
