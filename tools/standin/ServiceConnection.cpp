#include "ServiceConnection.h"

#include <Poco/Buffer.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/Timespan.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "Report.h"

using Poco::Net::WebSocket;

namespace standin {

namespace {

// How long a client may pause within a request, and take to close its side.
constexpr int kStallSeconds = 10;
constexpr std::chrono::seconds kGoodbye{2};

// Of the 125 bytes that a control frame may carry, the code takes two.
constexpr std::size_t kCloseTextLimit = 123;

int opcodeOf(int flags) {
  return flags & WebSocket::FRAME_OP_BITMASK;
}

// Reads until the client has closed its side too: a connection that is closed with something unread
// is reset, and the client may then lose what it was sent.
void discardUntilEnd(int descriptor) {
  const auto deadline = std::chrono::steady_clock::now() + kGoodbye;
  std::array<char, 4096> buffer{};
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd awaited{descriptor, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&awaited, 1, static_cast<int>(left.count())) <= 0 ||
        ::recv(descriptor, buffer.data(), buffer.size(), 0) <= 0) {
      return;
    }
  }
}

Refusal refusalFor(const Poco::Exception& failure) {
  if (failure.code() == WebSocket::WS_ERR_PAYLOAD_TOO_BIG) {
    return {CloseCode::kTooBig,
            "longer than " + std::to_string(MessageAssembler::kLimit) + " bytes"};
  }
  return {CloseCode::kProtocolError, "cut short, " + failure.displayText()};
}

}  // namespace

ServiceConnection::ServiceConnection(WebSocket& socket, TaskSubmitter& submitter, RequestGate& gate)
    : m_socket(socket), m_submitter(submitter), m_gate(gate) {
  m_socket.setReceiveTimeout(Poco::Timespan(kStallSeconds, 0));
  m_socket.setMaxPayloadSize(static_cast<int>(MessageAssembler::kLimit));
}

void ServiceConnection::serve() {
  try {
    answerRequests();
  } catch (const Refusal& refusal) {
    report(std::string("refused a message: ") + refusal.what());
    close(refusal.code(), refusal.what());
  }
}

void ServiceConnection::answerRequests() {
  for (;;) {
    if (!m_assembler.isBegun()) {
      m_pass.reset();
      if (!waitForRequest()) {
        close(CloseCode::kGoingAway, "velmo-standin ends");
        return;
      }
    }
    const std::optional<Frame> frame = receive();
    if (!frame) {
      return;
    }
    if (!handle(*frame)) {
      close(CloseCode::kNormal, {});
      return;
    }
  }
}

// @return false when the gate closed first
bool ServiceConnection::waitForRequest() {
  while (m_socket.available() <= 0) {  // what the handshake has read ahead is not in the descriptor
    std::array<pollfd, 2> awaited{pollfd{m_socket.impl()->sockfd(), POLLIN, 0},
                                  pollfd{m_gate.closedDescriptor(), POLLIN, 0}};
    if (::poll(awaited.data(), awaited.size(), -1) < 0 && errno != EINTR) {
      throw systemError("cannot wait for a request");
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

// @return nothing when the client has ended the connection without a word, between messages
std::optional<ServiceConnection::Frame> ServiceConnection::receive() {
  try {
    Frame frame;
    Poco::Buffer<char> buffer(0);
    const int count = m_socket.receiveFrame(buffer, frame.flags);
    if (count > 0 || frame.flags != 0) {
      frame.payload.assign(buffer.begin(), buffer.size());
      return frame;
    }
  } catch (const Poco::Net::ConnectionResetException&) {
    // A client that is gone, as one that has ended the connection is.
  } catch (const Poco::Exception& failure) {
    throw refusalFor(failure);
  }
  if (m_assembler.isBegun()) {
    throw Refusal(CloseCode::kProtocolError, "cut short, the connection has ended");
  }
  return std::nullopt;
}

// @return false when the client wants to end
bool ServiceConnection::handle(const Frame& frame) {
  switch (opcodeOf(frame.flags)) {
    case WebSocket::FRAME_OP_CLOSE:
      return false;
    case WebSocket::FRAME_OP_PING:
      m_socket.sendFrame(
          frame.payload.data(), static_cast<int>(frame.payload.size()),
          static_cast<int>(WebSocket::FRAME_FLAG_FIN) | static_cast<int>(WebSocket::FRAME_OP_PONG));
      return true;
    case WebSocket::FRAME_OP_PONG:
      return true;
    default:
      if (const std::optional<std::string> message = m_assembler.add(frame.flags, frame.payload)) {
        answer(*message);
      }
      return true;
  }
}

void ServiceConnection::answer(const std::string& message) {
  const std::string response = responseMessage(m_submitter.submit(parseRequest(message)));
  m_socket.sendFrame(response.data(), static_cast<int>(response.size()), WebSocket::FRAME_BINARY);
}

void ServiceConnection::close(CloseCode code, const std::string& why) {
  m_pass.reset();
  try {
    m_socket.shutdown(static_cast<std::uint16_t>(code), why.substr(0, kCloseTextLimit));
  } catch (const Poco::Exception&) {
    return;  // the client is gone already
  }
  const int descriptor = m_socket.impl()->sockfd();
  ::shutdown(descriptor, SHUT_WR);
  discardUntilEnd(descriptor);
}

}  // namespace standin
