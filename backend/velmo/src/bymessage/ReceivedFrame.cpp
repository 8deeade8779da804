#include "ReceivedFrame.h"

#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/Net/WebSocketImpl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>

namespace brix::velmo {

namespace {

using Poco::Net::WebSocket;
using Poco::Net::WebSocketException;
using Poco::Net::WebSocketImpl;

constexpr unsigned kMaskBit = 0x80;
constexpr unsigned kTwoByteLength = 126;
constexpr unsigned kEightByteLength = 127;
constexpr std::size_t kMaskSize = 4;
constexpr std::uint64_t kLargestPayload = std::numeric_limits<int>::max();

// Bytes that arrived together with the answer to the handshake are kept inside the networking
// library. Only this protected operation returns them. It is the same in all versions: it returns
// these bytes first, and then receives once on the socket.
class Bytes : public WebSocketImpl {
 public:
  static int receiveSome(WebSocketImpl& socket, char* buffer, int size) {
    return std::invoke(&Bytes::receiveSomeBytes, socket, buffer, size);
  }
};

[[noreturn]] void throwIncomplete() {
  throw WebSocketException("Incomplete frame received", WebSocket::WS_ERR_INCOMPLETE_FRAME);
}

[[noreturn]] void throwTooBig(const std::string& text) {
  throw WebSocketException(text, WebSocket::WS_ERR_PAYLOAD_TOO_BIG);
}

// Returns whether all bytes were received; not if the connection ends before the first.
bool receiveAll(WebSocketImpl& socket, char* buffer, int size) {
  for (int received = 0; received < size;) {
    const int more = Bytes::receiveSome(socket, buffer + received, size - received);
    if (more <= 0 && received == 0) {
      return false;
    }
    if (more <= 0) {
      throwIncomplete();
    }
    received += more;
  }
  return true;
}

template <std::size_t kSize>
bool receiveAll(WebSocketImpl& socket, std::array<char, kSize>& part) {
  return receiveAll(socket, part.data(), static_cast<int>(kSize));
}

template <std::size_t kSize>
bool receiveNumber(WebSocketImpl& socket, std::uint64_t& number) {
  std::array<char, kSize> bytes{};
  if (!receiveAll(socket, bytes)) {
    return false;
  }
  number = 0;
  for (const char byte : bytes) {
    number = number << 8U | static_cast<unsigned char>(byte);
  }
  return true;
}

using Mask = std::array<char, kMaskSize>;

struct Header {
  int flags = 0;
  std::uint64_t size = 0;
  Mask mask{};  // changes nothing if the payload is not masked
};

// Replaces a length that says how many bytes the real one has.
bool receiveLongSize(WebSocketImpl& socket, std::uint64_t& size) {
  switch (size) {
    case kTwoByteLength:
      return receiveNumber<2>(socket, size);
    case kEightByteLength:
      return receiveNumber<8>(socket, size);
    default:
      return true;
  }
}

// Returns false if the connection ends where one of its parts begins.
bool receiveHeader(WebSocketImpl& socket, Header& header) {
  std::array<char, 2> start{};
  if (!receiveAll(socket, start)) {
    return false;
  }
  header.flags = static_cast<unsigned char>(start[0]);
  const unsigned length = static_cast<unsigned char>(start[1]);
  header.size = length & ~kMaskBit;
  if (!receiveLongSize(socket, header.size)) {
    return false;
  }
  if (header.size > kLargestPayload) {
    throwTooBig("Payload too big");
  }
  return (length & kMaskBit) == 0 || receiveAll(socket, header.mask);
}

void receivePayload(WebSocketImpl& socket, char* buffer, int size, const Mask& mask) {
  if (!receiveAll(socket, buffer, size)) {
    throwIncomplete();
  }
  if (mask == Mask{}) {
    return;
  }
  for (int i = 0; i < size; ++i) {
    buffer[i] = static_cast<char>(buffer[i] ^ mask[static_cast<std::size_t>(i) % kMaskSize]);
  }
}

}  // namespace

ReceivedFrame receiveFrame(WebSocket& connection, char* buffer, int capacity) {
  auto& socket = static_cast<WebSocketImpl&>(*connection.impl());
  Header header;
  if (!receiveHeader(socket, header)) {
    return {0, 0};
  }
  const int size = static_cast<int>(header.size);
  if (size > capacity) {
    throwTooBig("Insufficient buffer for payload size " + std::to_string(size));
  }
  if (size > 0) {
    receivePayload(socket, buffer, size, header.mask);
  }
  return {size, header.flags};
}

}  // namespace brix::velmo
