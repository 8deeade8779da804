#include "WebSocketClient.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "WebSocketHandshake.h"

namespace velmo::test {

namespace {

int connectedTo(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    close(descriptor);
    throw std::system_error(error, std::generic_category(), "cannot connect");
  }
  return descriptor;
}

}  // namespace

WebSocketClient::WebSocketClient(std::uint16_t port) : Connection(connectedTo(port)) {}

std::string WebSocketClient::shakeHands() {
  send(handshakeRequest("/velmo", "origin: localhost\r\n"));
  const std::string head = readHead();
  return head.substr(0, head.find("\r\n"));
}

void WebSocketClient::sendFrame(int flags, const std::string& payload) {
  send(clientFrame(flags, payload, "\x12\x34\x56\x78"));
}

std::optional<WebSocketFrame> WebSocketClient::receiveFrame() {
  if (hasEnded()) {
    return std::nullopt;
  }
  WebSocketFrame received = readFrame();
  if (received.isMasked) {
    throw std::runtime_error("a masked frame");
  }
  return received;
}

std::string WebSocketClient::ask(const std::string& message) {
  sendFrame(kFinal | kBinary, message);
  const std::optional<WebSocketFrame> answer = receiveFrame();
  if (!answer || answer->flags != (kFinal | kBinary)) {
    throw std::runtime_error("no answer: " + (answer ? answer->payload : std::string("the end")));
  }
  return answer->payload;
}

}  // namespace velmo::test
