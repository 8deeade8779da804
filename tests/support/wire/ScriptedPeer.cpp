#include "ScriptedPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "AcceptKey.h"

namespace velmo::test {

namespace {

constexpr int kLimitMs = 20000;

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void waitFor(int descriptor) {
  pollfd entry{descriptor, POLLIN, 0};
  const int ready = poll(&entry, 1, kLimitMs);
  if (ready == 0) {
    throw std::runtime_error("nothing came in time");
  }
  if (ready < 0) {
    fail("poll");
  }
}

std::string bigEndian(std::uint64_t number, std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) {
    text.insert(text.begin(), static_cast<char>(number & 0xFFU));
    number >>= 8U;
  }
  return text;
}

std::uint64_t fromBigEndian(const std::string& bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) {
    number = number << 8U | static_cast<unsigned char>(byte);
  }
  return number;
}

std::string header(const std::string& handshake, const std::string& name) {
  const std::string start = "\r\n" + name + ": ";
  const std::size_t at = handshake.find(start);
  if (at == std::string::npos) {
    throw std::runtime_error("no " + name + " in the handshake");
  }
  const std::size_t value = at + start.size();
  return handshake.substr(value, handshake.find("\r\n", value) - value);
}

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string frame(int flags, const std::string& payload) {
  const std::size_t size = payload.size();
  std::string text(1, static_cast<char>(flags));
  if (size < 126) {
    text += static_cast<char>(size);
  } else if (size < 65536) {
    text += static_cast<char>(126) + bigEndian(size, 2);
  } else {
    text += static_cast<char>(127) + bigEndian(size, 8);
  }
  return text + payload;
}

std::string longFrameHeader(int flags, std::uint64_t length) {
  return std::string(1, static_cast<char>(flags)) + static_cast<char>(127) + bigEndian(length, 8);
}

// --- one connection ---

PeerConnection::PeerConnection(int descriptor) : m_descriptor(descriptor) {
  const int on = 1;
  setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

PeerConnection::~PeerConnection() {
  close();
}

std::string PeerConnection::read(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t have = 0; have < count;) {
    waitFor(m_descriptor);
    const ssize_t got = recv(m_descriptor, &bytes[have], count - have, 0);
    if (got < 0) {
      fail("recv");
    }
    if (got == 0) {
      throw std::runtime_error("the client has closed");
    }
    have += static_cast<std::size_t>(got);
  }
  return bytes;
}

std::string PeerConnection::readHandshake() {
  std::string text;
  while (text.size() < 4 || text.compare(text.size() - 4, 4, "\r\n\r\n") != 0) {
    text += read(1);
  }
  return text;
}

std::string PeerConnection::upgradeFor(const std::string& handshake) {
  return "HTTP/1.1 101 Switching Protocols\r\n"
         "Upgrade: websocket\r\n"
         "Connection: Upgrade\r\n"
         "Sec-WebSocket-Accept: " +
         acceptKey(header(handshake, "Sec-WebSocket-Key")) + "\r\n\r\n";
}

std::string PeerConnection::upgrade() {
  std::string handshake = readHandshake();
  send(upgradeFor(handshake));
  return handshake;
}

ReceivedFrame PeerConnection::readFrame() {
  ReceivedFrame result;
  const std::string start = read(2);
  result.flags = static_cast<unsigned char>(start[0]);
  result.isMasked = (static_cast<unsigned char>(start[1]) & 0x80U) != 0;
  std::uint64_t length = static_cast<unsigned char>(start[1]) & 0x7FU;
  if (length == 126) {
    length = fromBigEndian(read(2));
  } else if (length == 127) {
    length = fromBigEndian(read(8));
  }
  const std::string mask = result.isMasked ? read(4) : std::string(4, '\0');
  result.payload = read(length);
  for (std::size_t i = 0; i < result.payload.size(); ++i) {
    result.payload[i] = static_cast<char>(result.payload[i] ^ mask[i % 4]);
  }
  return result;
}

std::vector<ReceivedFrame> PeerConnection::readMessage() {
  std::vector<ReceivedFrame> frames;
  do {
    frames.push_back(readFrame());
  } while ((frames.back().flags & 0x80) == 0);
  return frames;
}

void PeerConnection::send(const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count =
        ::send(m_descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
      fail("send");
    }
    sent += static_cast<std::size_t>(count);
  }
}

void PeerConnection::sendByteByByte(const std::string& bytes) {
  for (const char byte : bytes) {
    send(std::string(1, byte));
  }
}

void PeerConnection::finish() {
  ::shutdown(m_descriptor, SHUT_WR);
}

void PeerConnection::drain() {
  std::array<char, 65536> buffer{};
  do {
    waitFor(m_descriptor);
  } while (recv(m_descriptor, buffer.data(), buffer.size(), 0) > 0);
}

void PeerConnection::close() {
  if (m_descriptor >= 0) {
    ::close(m_descriptor);
    m_descriptor = -1;
  }
}

void PeerConnection::reset() {
  const linger atOnce{1, 0};
  setsockopt(m_descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  close();
}

// --- listening ---

PeerListener::PeerListener() : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (m_descriptor < 0 ||
      bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(m_descriptor, 8) != 0) {
    fail("listen");
  }
}

PeerListener::~PeerListener() {
  ::close(m_descriptor);
}

unsigned short PeerListener::port() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

void PeerListener::serve(const PeerScript& script) const {
  waitFor(m_descriptor);
  // cppcheck-suppress nullPointer  // the caller's address may be left out
  const int descriptor = accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC);
  if (descriptor < 0) {
    fail("accept");
  }
  PeerConnection connection(descriptor);
  script(connection);
}

// --- the client as a process ---

namespace {

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
      fail("pipe");
    }
    out = ends[0];
    in = ends[1];
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    ::close(out);
    closeIn();
  }
  void closeIn() {
    if (in >= 0) {
      ::close(in);
      in = -1;
    }
  }
  int out = -1;
  int in = -1;
};

[[noreturn]] void beClient(const Client& client, unsigned short port, int report, int errors) {
  dup2(errors, STDERR_FILENO);
  client(port, [report](const std::string& step) {
    const std::string text = step + "; ";
    if (write(report, text.data(), text.size()) < 0) {
      std::abort();
    }
  });
  std::exit(0);  // the leak check of the sanitizer runs here
}

// Every write end of the pipe is the child's: its end ends the reading.
bool endsInTime(int reportEnd, std::string& report) {
  std::array<char, 4096> buffer{};
  for (;;) {
    pollfd entry{reportEnd, POLLIN, 0};
    if (poll(&entry, 1, kLimitMs) <= 0) {
      return false;
    }
    const ssize_t count = ::read(reportEnd, buffer.data(), buffer.size());
    if (count <= 0) {
      return true;
    }
    report.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string endOf(pid_t child, bool inTime) {
  if (!inTime) {
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!inTime) {
    return "hang";
  }
  return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

ClientOutcome runAgainst(const std::vector<PeerScript>& scripts, const Client& client) {
  const PeerListener listener;
  Pipe report;
  Pipe errors;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    fail("fork");
  }
  if (child == 0) {
    beClient(client, listener.port(), report.in, errors.in);
  }
  report.closeIn();
  errors.closeIn();
  ClientOutcome outcome;
  try {
    for (const PeerScript& script : scripts) {
      listener.serve(script);
    }
  } catch (const std::exception& exception) {
    outcome.peer = exception.what();
  }
  const bool inTime = endsInTime(report.out, outcome.report);
  outcome.end = endOf(child, inTime);
  outcome.errors = readAll(errors.out);
  return outcome;
}

}  // namespace velmo::test
