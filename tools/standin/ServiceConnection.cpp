#include "ServiceConnection.h"

#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>

#include "CloseFrame.h"
#include "Report.h"
#include "SystemError.h"
#include "TaskRequest.h"

using Poco::Net::WebSocket;

namespace velmo::standin {

namespace {

// How long a client may pause within a request, and how long it may take to close its side.
constexpr std::chrono::seconds kStall{10};
constexpr std::chrono::seconds kGoodbye{2};

void sendFrame(WebSocket& socket, int opcode, const std::string& payload) {
  socket.sendFrame(payload.data(), static_cast<int>(payload.size()), kFinalFrame | opcode);
}

int millisecondsUntil(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  return static_cast<int>(left.count());
}

// Reads until the client has closed its side too. Closing a socket with unread bytes resets the
// connection, and the client may then lose the last frames sent to it.
void discardUntilEnd(int descriptor) {
  const auto deadline = std::chrono::steady_clock::now() + kGoodbye;
  std::array<char, 4096> buffer{};
  for (;;) {
    const int left = millisecondsUntil(deadline);
    pollfd awaited{descriptor, POLLIN, 0};
    if (left <= 0 || ::poll(&awaited, 1, left) <= 0 ||
        ::recv(descriptor, buffer.data(), buffer.size(), 0) <= 0) {
      return;
    }
  }
}

// @return false if nothing arrived in time
bool waitForBytes(int descriptor) {
  const auto deadline = std::chrono::steady_clock::now() + kStall;
  for (;;) {
    pollfd awaited{descriptor, POLLIN, 0};
    const int ready = ::poll(&awaited, 1, std::max(0, millisecondsUntil(deadline)));
    if (ready >= 0) {
      return ready > 0;
    }
    if (errno != EINTR) {
      throw tools::systemError("cannot wait for a frame");
    }
  }
}

}  // namespace

ServiceConnection::ServiceConnection(WebSocket& socket, std::string_view readAhead,
                                     TaskSubmitter& submitter, RequestGate& gate)
    : m_socket(socket), m_submitter(submitter), m_gate(gate) {
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
    handle(*frame);
  }
}

// @return false if the gate closed first
bool ServiceConnection::waitForRequest() {
  while (m_frames.isEmpty()) {
    std::array<pollfd, 2> awaited{pollfd{m_socket.impl()->sockfd(), POLLIN, 0},
                                  pollfd{m_gate.closedDescriptor(), POLLIN, 0}};
    if (::poll(awaited.data(), awaited.size(), -1) < 0 && errno != EINTR) {
      throw tools::systemError("cannot wait for a request");
    }
    if (awaited[0].revents != 0) {
      break;
    }
    if (awaited[1].revents != 0) {
      return false;
    }
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
  const int descriptor = m_socket.impl()->sockfd();
  if (!waitForBytes(descriptor)) {
    throw Refusal(CloseCode::kProtocolError,
                  fmt::format("cut short, nothing came for {} seconds", kStall.count()));
  }
  std::array<char, 16384> buffer{};
  const ssize_t count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
  if (count <= 0) {
    return false;  // an error means that the client is gone
  }
  m_frames.add({buffer.data(), static_cast<std::size_t>(count)});
  return true;
}

void ServiceConnection::handle(const Frame& frame) {
  switch (opcodeOf(frame.flags)) {
    case kPing:
      sendFrame(m_socket, kPong, frame.payload);
      break;
    case kPong:
      break;
    default:
      if (const std::optional<std::string> message = m_assembler.add(frame)) {
        answer(*message);
      }
  }
}

void ServiceConnection::answer(const std::string& message) {
  sendFrame(m_socket, kBinary, responseMessage(m_submitter.submit(parseRequest(message))));
}

void ServiceConnection::close(const std::string& payload) {
  m_pass.reset();
  try {
    sendFrame(m_socket, kClose, payload);
  } catch (const Poco::Exception&) {
    return;  // the client is already gone
  }
  const int descriptor = m_socket.impl()->sockfd();
  ::shutdown(descriptor, SHUT_WR);
  discardUntilEnd(descriptor);
}

}  // namespace velmo::standin
