#include "WebSocketClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace velmo::test {

namespace {

constexpr int kTimeoutSeconds = 30;
constexpr int kMaskBit = 0x80;

std::string bigEndian(std::size_t number, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
    text += static_cast<char>((number >> shift) & 0xffU);
  }
  return text;
}

int byteAt(const std::string& text, std::size_t position) {
  return static_cast<unsigned char>(text[position]);
}

std::size_t numberFrom(const std::string& bytes) {
  std::size_t number = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    number = number * 256 + static_cast<std::size_t>(byteAt(bytes, i));
  }
  return number;
}

std::string lengthField(std::size_t length) {
  if (length < 126) {
    return bigEndian(length | kMaskBit, 1);
  }
  if (length < 65536) {
    return bigEndian(126 | kMaskBit, 1) + bigEndian(length, 2);
  }
  return bigEndian(127 | kMaskBit, 1) + bigEndian(length, 8);
}

}  // namespace

std::string clientFrame(int flags, const std::string& payload, const std::string& mask) {
  std::string frame = bigEndian(static_cast<std::size_t>(flags), 1) + lengthField(payload.size());
  frame += mask;
  for (std::size_t i = 0; i < payload.size(); ++i) {
    frame += static_cast<char>(byteAt(payload, i) ^ byteAt(mask, i % mask.size()));
  }
  return frame;
}

std::string closePayload(std::uint16_t code, const std::string& text) {
  return bigEndian(code, 2) + text;
}

std::string handshakeRequest(const std::string& path, const std::string& headers) {
  return "GET " + path +
         " HTTP/1.1\r\n"
         "Host: 127.0.0.1\r\n"
         "Connection: Upgrade\r\n"
         "Upgrade: websocket\r\n"
         "Sec-WebSocket-Version: 13\r\n"
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n" +
         headers + "\r\n";
}

WebSocketClient::WebSocketClient(std::uint16_t port)
    : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval limit{kTimeoutSeconds, 0};
  setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    close(m_descriptor);
    throw std::system_error(error, std::generic_category(), "cannot connect");
  }
}

WebSocketClient::~WebSocketClient() {
  close(m_descriptor);
}

std::string WebSocketClient::shakeHands() {
  send(handshakeRequest("/velmo", "origin: localhost\r\n"));
  std::size_t end = 0;
  while ((end = m_input.find("\r\n\r\n")) == std::string::npos) {
    if (!readMore()) {
      throw std::runtime_error("the connection ended in the handshake: " + m_input);
    }
  }
  const std::string head = take(end + 4);
  return head.substr(0, head.find("\r\n"));
}

void WebSocketClient::send(const std::string& bytes) const {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count =
        ::send(m_descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
      throw std::system_error(errno, std::generic_category(), "cannot send");
    }
    sent += static_cast<std::size_t>(count);
  }
}

void WebSocketClient::sendFrame(int flags, const std::string& payload) const {
  send(clientFrame(flags, payload, "\x12\x34\x56\x78"));
}

std::optional<WebSocketFrame> WebSocketClient::receiveFrame() {
  if (!ensure(2)) {
    return std::nullopt;
  }
  const std::string head = take(2);
  auto length = static_cast<std::size_t>(byteAt(head, 1));  // a server masks nothing
  if (length >= 126) {
    const std::size_t bytes = length == 126 ? 2 : 8;
    ensure(bytes);
    length = numberFrom(take(bytes));
  }
  ensure(length);
  return WebSocketFrame{byteAt(head, 0), take(length)};
}

std::string WebSocketClient::receiveAll() {
  while (readMore()) {
  }
  return take(m_input.size());
}

std::string WebSocketClient::ask(const std::string& message) {
  sendFrame(kFinal | kBinary, message);
  const std::optional<WebSocketFrame> frame = receiveFrame();
  if (!frame || frame->flags != (kFinal | kBinary)) {
    throw std::runtime_error("no answer: " + (frame ? frame->payload : std::string("the end")));
  }
  return frame->payload;
}

bool WebSocketClient::readMore() {
  std::array<char, 4096> buffer{};
  const ssize_t count = recv(m_descriptor, buffer.data(), buffer.size(), 0);
  if (count < 0 && errno != ECONNRESET) {
    throw std::runtime_error("nothing comes");
  }
  m_input.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  return count > 0;
}

bool WebSocketClient::ensure(std::size_t count) {
  while (m_input.size() < count) {
    if (!readMore()) {
      return false;
    }
  }
  return true;
}

std::string WebSocketClient::take(std::size_t count) {
  if (m_input.size() < count) {
    throw std::runtime_error("the connection ended within a frame");
  }
  std::string taken = m_input.substr(0, count);
  m_input.erase(0, count);
  return taken;
}

}  // namespace velmo::test
