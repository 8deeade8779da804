// A service for the roads by message: answers every binary message with the task name "T1", and a
// close frame with a close frame. One recv and one send for each request, one thread for each
// connection.
// usage: answering_service    writes the port that it listens on, on 127.0.0.1, and serves until
// its
//                             standard input ends

#include <Poco/Base64Encoder.h>
#include <Poco/SHA1Engine.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::size_t kMaskSize = 4;
constexpr unsigned char kOpcodeMask = 0x0f;
constexpr unsigned char kLengthMask = 0x7f;
constexpr unsigned char kBinary = 0x02;
constexpr unsigned char kClose = 0x08;
constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kReply("\x82\x06\x12\x04\x0a\x02T1", 8);
constexpr std::string_view kCloseReply("\x88\x02\x03\xe8", 4);

struct Frame {
  unsigned char opcode;  // cppcheck-suppress unusedStructMember
  std::size_t size;      // cppcheck-suppress unusedStructMember  // with its header
};

// Nothing if the frame is not complete.
std::optional<Frame> frontFrame(std::string_view bytes) {
  if (bytes.size() < 2) {
    return std::nullopt;
  }
  const auto byte = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char code = byte(1) & kLengthMask;
  const std::size_t lengthSize = code == 126 ? 2 : code == 127 ? 8 : 0;
  const std::size_t header = 2 + lengthSize + kMaskSize;
  if (bytes.size() < header) {
    return std::nullopt;
  }
  std::size_t length = lengthSize == 0 ? code : 0;
  for (std::size_t i = 0; i < lengthSize; ++i) {
    length = length << 8U | byte(2 + i);
  }
  if (bytes.size() - header < length) {
    return std::nullopt;
  }
  return Frame{static_cast<unsigned char>(byte(0) & kOpcodeMask), header + length};
}

std::string acceptKey(const std::string& key) {
  Poco::SHA1Engine engine;
  engine.update(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11");
  std::ostringstream text;
  Poco::Base64Encoder encoder(text);
  for (const unsigned char byte : engine.digest()) {
    encoder << byte;
  }
  encoder.close();
  return text.str();
}

std::string lowered(std::string text) {
  for (char& character : text) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

std::string handshakeReply(const std::string& request) {
  const std::string name = "\r\nsec-websocket-key:";
  const std::size_t start = lowered(request).find(name) + name.size();
  const std::size_t key = request.find_first_not_of(' ', start);
  return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
         "Sec-WebSocket-Accept: " +
         acceptKey(request.substr(key, request.find('\r', key) - key)) + "\r\n\r\n";
}

class Connection {
 public:
  explicit Connection(int descriptor) : m_descriptor(descriptor) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  ~Connection() {
    close(m_descriptor);
  }

  void serve() {
    while (m_bytes.find(kHeaderEnd) == std::string::npos) {
      if (!receive()) {
        return;
      }
    }
    const std::size_t end = m_bytes.find(kHeaderEnd);
    const std::string reply = handshakeReply(m_bytes.substr(0, end));
    answer(reply.data(), reply.size());
    m_bytes.erase(0, end + kHeaderEnd.size());
    while (answerFrames() && receive()) {
    }
  }

 private:
  bool receive() {
    const ssize_t size = recv(m_descriptor, m_block.data(), m_block.size(), 0);
    if (size <= 0) {
      return false;
    }
    m_bytes.append(m_block.data(), static_cast<std::size_t>(size));
    return true;
  }

  void answer(const char* bytes, std::size_t size) const {
    static_cast<void>(send(m_descriptor, bytes, size, MSG_NOSIGNAL));
  }

  // Returns false after a close frame.
  bool answerFrames() {
    while (const std::optional<Frame> frame = frontFrame(m_bytes)) {
      m_bytes.erase(0, frame->size);
      if (frame->opcode == kClose) {
        answer(kCloseReply.data(), kCloseReply.size());
        return false;
      }
      if (frame->opcode == kBinary) {
        answer(kReply.data(), kReply.size());
      }
    }
    return true;
  }

  int m_descriptor;
  std::string m_bytes;
  std::array<char, kBlock> m_block;
};

void serveConnection(int descriptor) {
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  Connection(descriptor).serve();
}

int listenOnLoopback() {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(descriptor, generic, size) != 0 || listen(descriptor, SOMAXCONN) != 0 ||
      getsockname(descriptor, generic, &size) != 0) {
    std::perror("answering_service");
    std::exit(1);
  }
  std::cout << ntohs(address.sin_port) << std::endl;
  return descriptor;
}

void acceptForEver(int listener) {
  for (;;) {
    const int descriptor = accept(listener, nullptr, nullptr);
    if (descriptor >= 0) {
      std::thread(serveConnection, descriptor).detach();
    }
  }
}

}  // namespace

int main() {
  std::thread(acceptForEver, listenOnLoopback()).detach();
  while (std::getchar() != EOF) {
  }
  std::_Exit(0);
}
