#include "ServiceConnection.h"

#include <poll.h>
#include <cerrno>
#include <cstring>

#include <array>
#include <utility>

#include "GivenTask.h"
#include "ReplyMessage.h"
#include "velmo.h"

namespace velmo::client {

namespace {

using Event = FrameReader::Event;

constexpr std::size_t kReceiveSize = 16384;
constexpr int kMostUnaskedReads = 64;
constexpr std::size_t kLargestKept = 65536;
constexpr std::size_t kLongestShown = 1024;
constexpr std::uint16_t kNormalClosure = 1000;

// Unsupported data, inconsistent data, against the peer's policy, too big: the peer did not take
// what it was sent.
bool isRefusal(int closeCode) {
  return closeCode == 1003 || (closeCode >= 1007 && closeCode <= 1009);
}

bool isUsableName(std::string_view name) {
  return !name.empty() && name.size() < VELMO_NAME_SIZE && isPlainText(name);
}

std::string closeText(int code, std::string_view reason) {
  if (code == 0) {
    return "no close code";
  }
  const std::string text = "close code " + std::to_string(code);
  return reason.empty() ? text : text + ", " + std::string(reason);
}

}  // namespace

ServiceConnection::ServiceConnection(Socket socket, std::string address, std::string_view rest,
                                     const volatile int* stop)
    : m_socket(std::move(socket)),
      m_address(std::move(address)),
      m_stop(stop),
      m_canReceiveWaiting(m_socket.allowWaiting()) {
  m_frames.feed(rest);
}

bool ServiceConnection::isUsable() const {
  return m_isUsable && isOfThisProcess();
}

bool ServiceConnection::hasFailed() const {
  return !m_isUsable;
}

bool ServiceConnection::isOfThisProcess() const {
  return m_process.isOfThisProcess();
}

const volatile int* ServiceConnection::stop() const {
  return m_stop;
}

// --- an exchange ---

// Unusable until it has succeeded, whatever is thrown.
Outcome ServiceConnection::exchange(std::string_view request, const Wait& wait, char* name) {
  m_isUsable = false;
  m_phase = Phase::Idle;
  Outcome outcome;
  try {
    outcome = tryExchange(request, wait, name);
  } catch (...) {  // memory has run out
    m_socket.close();
    if (m_phase != Phase::Sent) {
      throw;
    }
    outcome = Fault{Problem::OutOfMemory};
  }
  if (!outcome) {
    m_isUsable = true;
    return outcome;
  }
  answerClose();
  m_socket.close();
  if (m_phase == Phase::Sent && outcome->problem != Problem::RequestRefused) {
    return inDoubt(*std::move(outcome), {});
  }
  return outcome;
}

Outcome ServiceConnection::tryExchange(std::string_view request, const Wait& wait, char* name) {
  if (wait.isStopped()) {
    return Fault{Problem::Stopped, m_address + " to take the request"};
  }
  if (Outcome outcome = readArrivals()) {
    return outcome;
  }
  if (Outcome outcome = sendRequest(request, wait)) {
    return outcome;
  }
  return receiveReply(wait, name);
}

// --- sending ---

Outcome ServiceConnection::sendRequest(std::string_view request, const Wait& wait) {
  answerPing();
  if (Outcome outcome = m_writer.appendMessage(m_outgoing, request)) {
    return outcome;
  }
  m_phase = Phase::Sending;
  for (;;) {
    const Socket::Attempt attempt = sendSome();
    if (m_outgoing.empty()) {
      m_phase = Phase::Sent;
      return std::nullopt;
    }
    if (attempt.error != 0 && !attempt.wouldBlock()) {
      return failedSend(attempt.error);
    }
    if (Outcome outcome = awaitRoom(wait)) {
      return outcome;
    }
  }
}

// Also takes what the peer says meanwhile.
Outcome ServiceConnection::awaitRoom(const Wait& wait) {
  switch (m_socket.await(POLLOUT | POLLIN, wait)) {
    case Socket::Readiness::Ready:
      break;
    case Socket::Readiness::TimedOut:
      return Fault{Problem::SendTimedOut, m_address};
    case Socket::Readiness::Stopped:
      return Fault{Problem::Stopped, m_address + " to take the request"};
    case Socket::Readiness::Failed:
      return failed(errno);
  }
  if (Outcome outcome = readArrivals()) {
    return outcome;
  }
  return wait.isOver() ? Outcome(Fault{Problem::SendTimedOut, m_address}) : std::nullopt;
}

// A peer that refuses a request says so and then resets the connection: what it said is still
// there.
Outcome ServiceConnection::failedSend(int error) {
  Outcome outcome = readArrivals();
  const bool hasSaidWhy = outcome && m_isClosedByPeer;
  return hasSaidWhy ? std::move(outcome) : failed(error);
}

// --- data without a request ---

// Takes what has arrived before the whole request was sent. Never waits.
Outcome ServiceConnection::readArrivals() {
  for (int i = 0; i < kMostUnaskedReads; ++i) {
    if (Outcome outcome = takeUnaskedFrames()) {
      return outcome;
    }
    const Socket::Attempt attempt = receiveSome();
    if (attempt.wouldBlock()) {
      return std::nullopt;
    }
    if (attempt.error != 0) {
      return failed(attempt.error);
    }
    if (attempt.count == 0) {
      return Fault{Problem::ConnectionEnded, m_address};
    }
  }
  return Fault{Problem::ConnectionHasData, m_address};
}

Outcome ServiceConnection::takeUnaskedFrames() {
  for (;;) {
    switch (const Event event = m_frames.next()) {
      case Event::None:
        return m_frames.isInsideMessage() ? Outcome(Fault{Problem::ConnectionHasData, m_address})
                                          : std::nullopt;
      case Event::Ping:
        notePing();
        break;
      case Event::Pong:
        break;
      case Event::Wrong:
        return Fault{Problem::ConnectionBroken, m_address, std::string(m_frames.content())};
      case Event::Close:
        return faultOf(event);
      default:
        return Fault{Problem::ConnectionHasData, m_address};
    }
  }
}

// --- receiving ---

Outcome ServiceConnection::receiveReply(const Wait& wait, char* name) {
  bool hasReceived = false;
  for (;;) {
    switch (const Event event = m_frames.next()) {
      case Event::Message:
        sendPong();
        return takeReply(m_frames.content(), name);
      case Event::Ping:
        notePing();
        break;
      case Event::Pong:
        break;
      case Event::None:
        if (hasReceived && wait.isOver()) {
          return Fault{Problem::ReplyTimedOut, m_address};
        }
        if (Outcome outcome = receiveMore(wait)) {
          return outcome;
        }
        hasReceived = true;
        break;
      default:
        return faultOf(event);
    }
  }
}

// Receives something, or sends some of what is still to be sent. After a signal perhaps neither.
Outcome ServiceConnection::receiveMore(const Wait& wait) {
  if (wait.isStopped()) {
    return Fault{Problem::Stopped, "the reply of " + m_address};
  }
  sendPong();
  const bool mayBlock = m_canReceiveWaiting && m_outgoing.empty() && wait.hasWholeSlice();
  const Socket::Attempt attempt = mayBlock ? receiveWaiting() : receiveSome();
  if (attempt.error == 0) {
    return attempt.count > 0 ? std::nullopt : Outcome(Fault{Problem::ConnectionEnded, m_address});
  }
  if (mayBlock && attempt.error == EINTR) {
    return std::nullopt;
  }
  // Also at the end of a wait: somebody who shares the socket may have made it non-blocking again.
  return attempt.wouldBlock() ? awaitReply(wait) : failed(attempt.error);
}

Outcome ServiceConnection::awaitReply(const Wait& wait) {
  const int events = m_outgoing.empty() ? POLLIN : POLLIN | POLLOUT;
  switch (m_socket.await(static_cast<short>(events), wait)) {
    case Socket::Readiness::Ready:
      return std::nullopt;
    case Socket::Readiness::TimedOut:
      return Fault{Problem::ReplyTimedOut, m_address};
    case Socket::Readiness::Stopped:
      return Fault{Problem::Stopped, "the reply of " + m_address};
    case Socket::Readiness::Failed:
      return failed(errno);
  }
  return std::nullopt;
}

Outcome ServiceConnection::takeReply(std::string_view message, char* name) const {
  const auto wrong = [this](const char* what) {
    return Fault{Problem::ReplyWrong, m_address, what};
  };
  const ReplyMessage reply = parseReply(message);
  switch (reply.kind) {
    case ReplyMessage::Kind::Malformed:
      return wrong("a malformed message");
    case ReplyMessage::Kind::OtherKind:
      return wrong("not an AddTaskResponse");
    case ReplyMessage::Kind::Nameless:
      return wrong("an AddTaskResponse without taskName");
    case ReplyMessage::Kind::Named:
      break;
  }
  if (!isUsableName(reply.name)) {
    return Fault{Problem::ReplyNameUnusable, m_address,
                 std::string(reply.name.substr(0, kLongestShown))};
  }
  if (name != nullptr) {
    std::memcpy(name, reply.name.data(), reply.name.size());
    name[reply.name.size()] = '\0';
  }
  return std::nullopt;
}

// --- failures ---

Fault ServiceConnection::faultOf(Event event) {
  switch (event) {
    case Event::Close:
      return closedByPeer();
    case Event::TooLarge:
      return Fault{Problem::ReplyTooLarge, m_address};
    default:
      return Fault{Problem::FrameWrong, m_address, std::string(m_frames.content())};
  }
}

Fault ServiceConnection::closedByPeer() {
  m_isClosedByPeer = true;
  const int code = m_frames.closeCode();
  const bool isRefused = m_phase != Phase::Idle && isRefusal(code);
  return Fault{isRefused ? Problem::RequestRefused : Problem::ConnectionClosed, m_address,
               closeText(code, m_frames.content()), 0, code};
}

Fault ServiceConnection::failed(int error) const {
  return Fault{Problem::ConnectionFailed, m_address, {}, error};
}

// --- bytes and control frames ---

Socket::Attempt ServiceConnection::receiveSome() {
  std::array<char, kReceiveSize> buffer;  // NOLINT: not initialised, because it is filled
  const Socket::Attempt attempt = m_socket.receive(buffer.data(), buffer.size());
  m_frames.feed({buffer.data(), attempt.count});
  return attempt;
}

Socket::Attempt ServiceConnection::receiveWaiting() {
  std::array<char, kReceiveSize> buffer;  // NOLINT: not initialised, because it is filled
  const Socket::Attempt attempt = m_socket.receiveWaiting(buffer.data(), buffer.size());
  m_frames.feed({buffer.data(), attempt.count});
  return attempt;
}

Socket::Attempt ServiceConnection::sendSome() {
  const Socket::Attempt attempt = m_socket.send(std::string_view(m_outgoing).substr(m_sent));
  m_sent += attempt.count;
  if (m_sent == m_outgoing.size()) {
    m_sent = 0;
    m_outgoing.clear();
    if (m_outgoing.capacity() > kLargestKept) {
      std::string().swap(m_outgoing);
    }
  }
  return attempt;
}

void ServiceConnection::notePing() {
  m_ping = m_frames.content();
  m_isPinged = true;
}

// Only the last ping is answered, and only when the answer before has gone out: what a peer makes
// this side keep is bounded. A pong that cannot be made is left out.
void ServiceConnection::answerPing() {
  if (!m_isPinged || !m_outgoing.empty()) {
    return;
  }
  m_isPinged = false;
  try {
    static_cast<void>(m_writer.appendPong(m_outgoing, m_ping));
  } catch (...) {  // NOLINT(bugprone-empty-catch): the reply matters, not the pong
  }
}

// As far as the kernel takes it now. A failure shows when receiving.
void ServiceConnection::sendPong() {
  answerPing();
  if (!m_outgoing.empty()) {
    sendSome();
  }
}

// Answers the close frame of the peer, if the socket takes the answer at once.
void ServiceConnection::answerClose() {
  if (!m_isClosedByPeer || !m_outgoing.empty()) {
    return;
  }
  try {
    if (!m_writer.appendClose(m_outgoing, kNormalClosure)) {
      sendSome();
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): only a courtesy fails
  }
}

// --- the end ---

void ServiceConnection::abandon() noexcept {
  m_isUsable = false;
  m_socket.close();
}

void ServiceConnection::close(const Wait& wait) noexcept {
  if (isUsable()) {
    try {
      if (sendClose(wait)) {
        awaitClose(wait);
      }
    } catch (...) {  // NOLINT(bugprone-empty-catch): the connection ends anyway
    }
  }
  m_socket.close();
}

// @return whether the kernel has taken the close frame
bool ServiceConnection::sendClose(const Wait& wait) {
  if (m_writer.appendClose(m_outgoing, kNormalClosure)) {
    return false;
  }
  for (;;) {
    const Socket::Attempt attempt = sendSome();
    if (m_outgoing.empty()) {
      return true;
    }
    if ((attempt.error != 0 && !attempt.wouldBlock()) ||
        m_socket.await(POLLOUT, wait) != Socket::Readiness::Ready) {
      return false;
    }
  }
}

// Receives until the peer has closed. Even without a wait, what is there is taken: closing a socket
// with unread data would reset the connection, and the close frame could be lost.
void ServiceConnection::awaitClose(const Wait& wait) {
  for (int reads = 0; reads < kMostUnaskedReads || !(wait.isOver() || wait.isStopped()); ++reads) {
    for (Event event = m_frames.next(); event != Event::None; event = m_frames.next()) {
      if (event == Event::Close || event == Event::Wrong || event == Event::TooLarge) {
        return;
      }
    }
    const Socket::Attempt attempt = receiveSome();
    const bool hasEnded = attempt.error == 0 && attempt.count == 0;
    if (hasEnded || (attempt.error != 0 && !attempt.wouldBlock())) {
      return;
    }
    if (attempt.wouldBlock() && m_socket.await(POLLIN, wait) != Socket::Readiness::Ready) {
      return;
    }
  }
}

}  // namespace velmo::client
