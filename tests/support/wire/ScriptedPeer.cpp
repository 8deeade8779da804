#include "ScriptedPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "WebSocketHandshake.h"
#include "WireMessages.h"

namespace velmo::test {

namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

std::string PeerConnection::upgrade() {
  std::string handshake = readHead();
  send(upgradeFor(handshake));
  return handshake;
}

std::vector<WebSocketFrame> PeerConnection::readMessage() {
  std::vector<WebSocketFrame> message;
  do {
    message.push_back(readFrame());
  } while ((message.back().flags & kFinal) == 0);
  return message;
}

void PeerConnection::closeInOrder() {
  readMessage();
  send(frame(kFinal | kClose, closePayload(1000)));
  drain();
}

PeerScript answering(const std::vector<std::string>& replies) {
  return [replies](PeerConnection& peer) {
    peer.upgrade();
    for (const std::string& reply : replies) {
      peer.readMessage();
      peer.send(reply);
    }
    peer.closeInOrder();
  };
}

std::string naming(const std::string& taskName) {
  return frame(kFinal | kBinary, responseNaming(taskName));
}

PeerListener::PeerListener() : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in address = loopback(0);
  if (m_descriptor < 0 ||
      bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(m_descriptor, 8) != 0) {
    fail("listen");
  }
}

PeerListener::~PeerListener() {
  close(m_descriptor);
}

unsigned short PeerListener::port() const {
  return portOf(m_descriptor);
}

void PeerListener::serve(const PeerScript& script) const {
  waitUntilReadable(m_descriptor);
  // cppcheck-suppress nullPointer  // the caller's address may be left out
  const int descriptor = accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC);
  if (descriptor < 0) {
    fail("accept");
  }
  PeerConnection connection(descriptor);
  script(connection);
}

bool PeerListener::isReached() const {
  pollfd entry{m_descriptor, POLLIN, 0};
  return poll(&entry, 1, 0) > 0;
}

}  // namespace velmo::test
