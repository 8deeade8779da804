#include "Connection.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace velmo::test {

namespace {

constexpr int kLimitMs = 30000;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// What the other end sends until it closes or resets.
struct Rest {
  std::string bytes;
  bool isReset;
};

Rest restOf(int descriptor) {
  std::string bytes;
  std::array<char, 65536> buffer{};
  for (;;) {
    waitUntilReadable(descriptor);
    const ssize_t count = recv(descriptor, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      return {bytes, count < 0 && errno == ECONNRESET};
    }
    bytes.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

std::uint16_t portOf(int descriptor) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

void waitUntilReadable(int descriptor) {
  pollfd entry{descriptor, POLLIN, 0};
  const int ready = poll(&entry, 1, kLimitMs);
  if (ready == 0) {
    throw std::runtime_error("nothing came in time");
  }
  if (ready < 0) {
    fail("poll");
  }
}

Connection::Connection(int descriptor) : m_descriptor(descriptor) {
  const int on = 1;
  setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection::~Connection() {
  close();
}

std::string Connection::read(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t have = 0; have < count;) {
    waitUntilReadable(m_descriptor);
    const ssize_t got = recv(m_descriptor, &bytes[have], count - have, 0);
    if (got < 0) {
      fail("recv");
    }
    if (got == 0) {
      throw std::runtime_error("the other end has closed");
    }
    have += static_cast<std::size_t>(got);
  }
  return bytes;
}

std::string Connection::readHead() {
  std::string text;
  while (text.size() < 4 || text.compare(text.size() - 4, 4, "\r\n\r\n") != 0) {
    text += read(1);
  }
  return text;
}

WebSocketFrame Connection::readFrame() {
  return velmo::test::readFrame([this](std::size_t count) { return read(count); });
}

std::string Connection::readToTheEnd() {
  return restOf(m_descriptor).bytes;
}

bool Connection::hasEnded() const {
  waitUntilReadable(m_descriptor);
  char byte = 0;
  return recv(m_descriptor, &byte, 1, MSG_PEEK) <= 0;
}

bool Connection::endsWithReset() {
  return restOf(m_descriptor).isReset;
}

void Connection::send(const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count =
        ::send(m_descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
      fail("send");
    }
    sent += static_cast<std::size_t>(count);
  }
}

void Connection::sendByteByByte(const std::string& bytes) {
  for (const char byte : bytes) {
    send(std::string(1, byte));
  }
}

void Connection::finish() {
  ::shutdown(m_descriptor, SHUT_WR);
}

void Connection::drain() {
  readToTheEnd();
}

void Connection::close() {
  if (m_descriptor >= 0) {
    ::close(m_descriptor);
    m_descriptor = -1;
  }
}

void Connection::reset() {
  const linger atOnce{1, 0};
  setsockopt(m_descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  close();
}

}  // namespace velmo::test
